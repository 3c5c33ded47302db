#include <filesystem>

#include <gtest/gtest.h>

#include "Common/LogUtil.h"
#include "support/TempTree.h"

TEST(LogUtilTest, TheNewestInstanceGoesOnWhileItHasRoom) {
    const TempTree tree;
    for (const char* other : {"scan_00099x.log", "scan_00099.log", "scan_000099.trace",
                              "scan_000099.log.gz", "xscan_000099.log", "scan.log"})
        tree.touch(other);
    const auto next = [&](bool reuse) {
        LogUtil names;
        names.setMaxSize(2);
        return names.getNextLogName(tree.root(), "scan", ".log", reuse);
    };
    EXPECT_EQ("scan_000001.log", next(true));
    tree.touch("scan.000010-old.log", 1024);
    EXPECT_EQ("scan_000010.log", next(true));
    EXPECT_EQ("scan_000011.log", next(false));
    tree.touch("scan.000010-old.log", 1025);
    EXPECT_EQ("scan_000011.log", next(true));
    std::filesystem::resize_file(tree.path("scan.000010-old.log"), (1ULL << 32U) + 5);
    EXPECT_EQ("scan_000010.log", next(true)) << "sizes are compared in 32 bits";
}
