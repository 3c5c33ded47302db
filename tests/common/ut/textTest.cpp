#include <cerrno>

#include <gtest/gtest.h>

#include "common/ut/text.h"

TEST(textTest, PrintableLeavesNothingThatEndsALine) {
    EXPECT_EQ("a b c d ", printable("a\nb\rc\x1b"
                                    "d\x7f"));
    EXPECT_EQ("\xc3\xa4 \xff", printable("\xc3\xa4 \xff"));
    EXPECT_EQ(std::string("a b"), printable(std::string("a\0b", 3)));
}

TEST(textTest, ZerosStandLeftOfTheWholeText) {
    EXPECT_EQ("0003", zeroPadded(3, 4));
    EXPECT_EQ("00-1", zeroPadded(-1, 4));
    EXPECT_EQ("12345", zeroPadded(12345, 4));
}

TEST(textTest, SystemFailuresNameTheirObject) {
    EXPECT_EQ("/dev/x - No such file or directory", withErrnoText("/dev/x", ENOENT));
}
