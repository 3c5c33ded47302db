#include <cerrno>

#include <gtest/gtest.h>

#include "common/ut/text.h"

TEST(textTest, PrintableLeavesNothingThatEndsALineOrDrivesATerminal) {
    const std::pair<const char*, const char*> kTexts[] = {
        {"a\nb\rc\x1b[\x7f",                       "a b c [ "                            },
        {"\xc2\x80|\xc2\x85|\xc2\x9f|\xc2\xa0",    "  |  |  |\xc2\xa0"                   },
        {"\xe2\x80\xa8|\xe2\x80\xa9|\xe2\x80\xaa", "   |   |\xe2\x80\xaa"                },
        {"\xf0\x9f\x98\x80\xe2\x82\xac\xc5\x9b",   "\xf0\x9f\x98\x80\xe2\x82\xac\xc5\x9b"},
        {"a\x80z\x9b\xa0\xff",                     "a z \xa0\xff"                        },
        {"\xc0\x8a|\xe0\x80\x8a|\xed\xa0\x80",     "\xc0 |\xe0  |\xed\xa0 "              },
        {"\xf4\x90\x80\x80\xf5\xe2\x82",           "\xf4   \xf5\xe2 "                    },
        {"\xc2",                                   "\xc2"                                },
    };
    EXPECT_EQ(std::string("a b"), printable(std::string("a\0b", 3)));
    for (const auto& [text, shown] : kTexts)
        EXPECT_EQ(shown, printable(text));
}

TEST(textTest, ZerosStandLeftOfTheWholeText) {
    EXPECT_EQ("0003", zeroPadded(3, 4));
    EXPECT_EQ("00-1", zeroPadded(-1, 4));
    EXPECT_EQ("12345", zeroPadded(12345, 4));
}

TEST(textTest, SystemFailuresNameTheirObject) {
    EXPECT_EQ("/dev/x - No such file or directory", withErrnoText("/dev/x", ENOENT));
}
