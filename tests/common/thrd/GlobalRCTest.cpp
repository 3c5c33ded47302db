#include <gtest/gtest.h>

#include "common/thrd/GlobalRC.h"
#include "common/thrd/TransErrno.h"

TEST(GlobalRCTest, TheWorstMessageStaysForItsSpan) {
    // The severity of messages from 254 on is their last digit.
    GlobalRC::create(
        {[](int number) { return number < 254 ? 0 : number % 10; }, [](int /*number*/) {}});
    const auto levels = [](std::initializer_list<int> numbers) {
        std::string text;
        for (const int number : numbers) {
            GlobalRC::clearAllRC();
            const bool rose = GlobalRC::set(number);
            EXPECT_EQ(rose, GlobalRC::get() > 0) << number;
            text += std::to_string(GlobalRC::get()) + " ";
        }
        return text;
    };
    EXPECT_EQ("0 12 0 8 12 12 0 ", levels({300, 303, 304, 305, 306, 307, 308}));
    EXPECT_EQ("12 12 12 0 0 ", levels({263, 201, 250, 200, 254})) << "of the upkeep of logs";
    EXPECT_EQ("0 0 0 0 ", levels({216, 217, 232, 233})) << "which goes well";
    for (const auto& [configured, level] : {std::pair(4, "8 "), std::pair(10, "10 ")}) {
        GlobalRC::setUpkeepLevel(configured);
        EXPECT_EQ(level, levels({240}));
    }
    GlobalRC::clearAllRC();

    EXPECT_TRUE(GlobalRC::set(305) && GlobalRC::set(306));
    EXPECT_FALSE(GlobalRC::set(305));
    GlobalRC::clearRC();
    EXPECT_TRUE(GlobalRC::set(305));
    EXPECT_EQ(8, GlobalRC::get());
    EXPECT_EQ(12, GlobalRC::getMacroMax());
    GlobalRC::clearMacroRC();
    EXPECT_EQ(0, GlobalRC::getMacroMax());
    EXPECT_EQ(12, GlobalRC::getMax());
    GlobalRC::destroy();
    EXPECT_FALSE(GlobalRC::set(306) || GlobalRC::getMax() > 0);
}

TEST(TransErrnoTest, NumbersOfTransfersComeFirst) {
    EXPECT_EQ(131, TransErrno(9, "open"));
    EXPECT_EQ(104, TransErrno(9, "read"));
    EXPECT_EQ(102, TransErrno(12, "read"));
    EXPECT_EQ(106, TransErrnoKnown(5, "stat", 7, 77));
    EXPECT_EQ(77, TransErrnoKnown(7, "stat", 7, 77));
}
