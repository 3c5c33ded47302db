#include <gtest/gtest.h>

#include "common/thrd/GlobalRC.h"
#include "common/thrd/TransErrno.h"

namespace {

/// Messages from 254 on, whose severity code is their last digit.
class GlobalRCTest : public testing::Test {
protected:
    GlobalRCTest() {
        GlobalRC::create(
            {[](int number) { return number < 254 ? 0 : number % 10; }, [](int /*number*/) {}});
    }
    ~GlobalRCTest() override { GlobalRC::destroy(); }
};

}  // namespace

TEST_F(GlobalRCTest, MessagesAreGradedByNumberOrSeverity) {
    const std::pair<int, int> kLevels[] = {
        {300, 0 },
        {303, 12},
        {304, 0 },
        {305, 8 },
        {306, 12},
        {307, 12},
        {308, 0 },
        {263, 12},
        {201, 12},
        {250, 12},
        {200, 0 },
        {254, 0 },
        {216, 0 },
        {217, 0 },
        {232, 0 },
        {233, 0 },
        {255, 8 },
    };
    for (const auto& [number, level] : kLevels) {
        GlobalRC::clearAllRC();
        EXPECT_EQ(level > 0, GlobalRC::set(number)) << number;
        EXPECT_EQ(level, GlobalRC::get()) << number;
    }
    for (const auto& [configured, level] : {std::pair(4, 8), std::pair(10, 10)}) {
        GlobalRC::clearAllRC();
        GlobalRC::setUpkeepLevel(configured);
        GlobalRC::set(240);
        EXPECT_EQ(level, GlobalRC::get());
    }
}

TEST_F(GlobalRCTest, TheWorstStaysForItsSpan) {
    EXPECT_TRUE(GlobalRC::set(305));
    EXPECT_TRUE(GlobalRC::set(306));
    EXPECT_FALSE(GlobalRC::set(305));
    GlobalRC::clearRC();
    EXPECT_TRUE(GlobalRC::set(305));
    EXPECT_EQ(8, GlobalRC::get());
    EXPECT_EQ(12, GlobalRC::getMacroMax());
    GlobalRC::clearMacroRC();
    EXPECT_EQ(0, GlobalRC::getMacroMax());
    EXPECT_EQ(12, GlobalRC::getMax());
    GlobalRC::destroy();
    EXPECT_FALSE(GlobalRC::set(306));
    EXPECT_EQ(0, GlobalRC::getMax());
}

TEST(TransErrnoTest, NumbersOfTransfersComeFirst) {
    const std::tuple<int, const char*, int> kCodes[] = {
        {9,   "open", 131},
        {9,   "read", 104},
        {103, "read", 816},
        {12,  "read", 102},
        {171, "stat", 131},
        {-1,  "stat", 131},
    };
    for (const auto& [error, call, code] : kCodes)
        EXPECT_EQ(code, TransErrno(error, call)) << error << call;
    EXPECT_EQ(106, TransErrnoKnown(5, "stat", 7, 77));
    EXPECT_EQ(77, TransErrnoKnown(7, "stat", 7, 77));
}
