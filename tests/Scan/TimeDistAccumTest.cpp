#include <limits>

#include "Common/GenericException.h"
#include "Scan/AccessedDistAccum.h"
#include "Scan/AccumTest.h"
#include "Scan/BackupDistAccum.h"
#include "Scan/CreatedDistAccum.h"
#include "Scan/ModifiedDistAccum.h"
#include "Scan/STimeDist.h"

class TimeDistAccumTest : public AccumTest {
protected:
    using Limits = std::numeric_limits<std::int64_t>;

    /// A file that was modified so many milliseconds before the walk.
    static FileAttributes aged(std::int64_t milliseconds, std::int64_t blocks = 1) {
        FileAttributes attributes = file("file", blocks);
        attributes.faModified = -milliseconds;
        return attributes;
    }

    STimeDist record;
};

TEST_F(TimeDistAccumTest, EachAgeLiesInItsRange) {
    constexpr std::int64_t kDay = 86400000;  // milliseconds
    std::vector<std::pair<std::int64_t, std::size_t>> ages = {
        {Limits::min() + 1, 9},
        {-kDay - 1000,      9},
        {-kDay - 999,       0}, // the time is cut
        {-kDay,             0},
        {0,                 0},
        {Limits::max(),     8},
    };
    std::size_t below = 0;
    for (const std::int64_t days : {1, 7, 30, 60, 90, 180, 270}) {
        ages.emplace_back(days * kDay, below);
        ages.emplace_back(days * kDay + 999, below);
        ages.emplace_back(days * kDay + 1000, ++below);
    }
    ages.emplace_back(31557600000, 7);
    ages.emplace_back(31557601000, 8);
    for (const auto& [age, range] : ages) {
        STimeDist one;
        ModifiedDistAccum accum(&one);
        meet(accum, aged(age, 3));
        accum.finish(&results);
        EXPECT_EQ(1, one.tdCounts[range]) << age;
        EXPECT_EQ(3, one.tdSizes[range]) << age;
        EXPECT_EQ(range == 9 ? 0 : age / 1000, one.tdAverageAge) << age;
    }
}

TEST_F(TimeDistAccumTest, TheAverageIsCutAndLeavesTheFutureOut) {
    ModifiedDistAccum accum(&record);
    for (const std::int64_t age : {-4000, 1000, -5000, -90000000})
        meet(accum, aged(age));
    accum.finish(&results);
    EXPECT_EQ(-2, record.tdAverageAge);  // -8 / 3

    // Far more than a sum of 64 bits can hold: wraps, like the sum of the blocks.
    STimeDist far;
    ModifiedDistAccum wrapping(&far);
    for (int i = 0; i < 2000; ++i)
        meet(wrapping, aged(Limits::max(), Limits::max()));
    wrapping.finish(&results);
    EXPECT_EQ(-2000, far.tdSizes[8]);
    EXPECT_EQ(2000, far.tdCounts[8]);
    EXPECT_EQ(static_cast<std::int64_t>(2000U * (Limits::max() / 1000UL)) / 2000,
              far.tdAverageAge);
}

TEST_F(TimeDistAccumTest, EachClassReadsItsTimeAndFailsWithoutAFile) {
    FileAttributes times = file("file", 1);
    times.faCreated = 1;
    times.faAccessed = 2;
    times.faModified = 3;
    AccessedDistAccum accessed(&record);
    CreatedDistAccum created(&record);
    ModifiedDistAccum modified(&record);
    BackupDistAccum backup(&record);
    const std::pair<TimeDistAccum*, std::int64_t> kTimes[] = {
        {&accessed, 2},
        {&created,  1},
        {&modified, 3},
        {&backup,   3},
    };
    for (const auto& [accum, time] : kTimes) {
        EXPECT_EQ(time, accum->time(&times));
        accum->accumulate(&scanner, nullptr);
        accum->accumulate(nullptr, &times);
        try {
            static_cast<void>(accum->time(nullptr));
            ADD_FAILURE();
        } catch (GenericException* thrown) {
            const std::unique_ptr<GenericException> failure(thrown);
            EXPECT_EQ("STA0028I", failure->getMessage());
        }
    }
    meet(backup, times);
    EXPECT_EQ(0, record.tdCounts[0]);
    times.faAttributes = FA_ARCHIVE;
    meet(backup, times);
    EXPECT_EQ(1, record.tdCounts[0]);
}
