#include <gtest/gtest.h>

#include "common/ut/makeDirPath.h"
#include "support/TempTree.h"

TEST(makeDirPathTest, MakesWhatIsMissing) {
    const TempTree tree;
    EXPECT_EQ(0, makeDirPath(tree.path("a/b//c/")));
    EXPECT_EQ(0, makeDirPath(tree.path("a/b/d")));
    EXPECT_TRUE(tree.exists("a/b/c") && tree.exists("a/b/d"));
    EXPECT_EQ(-1, makeDirPath("/dev/null/x"));
}
