#include <limits>

#include "Scan/AccumTest.h"
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

TEST_F(TimeDistAccumTest, TheAverageIsCutAndLeavesTheFutureOut) {
    ModifiedDistAccum accum(&record);
    for (const std::int64_t age : {-4000, 1000, -5999, -86400999})
        meet(accum, aged(age));
    for (const std::int64_t age : {-86401000L, Limits::min() + 1})
        meet(accum, aged(age, 4));
    accum.finish(&results);
    EXPECT_EQ((-4 + 1 - 5 - 86400) / 4, record.tdAverageAge);
    EXPECT_EQ(4, record.tdCounts[0]);
    EXPECT_EQ(8, record.tdSizes[9]);
}

TEST_F(TimeDistAccumTest, SumsThatDoNotFitWrap) {
    ModifiedDistAccum accum(&record);
    for (int i = 0; i < 2000; ++i)
        meet(accum, aged(Limits::max(), Limits::max()));
    accum.finish(&results);
    EXPECT_EQ(-2000, record.tdSizes[8]);
    EXPECT_EQ(static_cast<std::int64_t>(2000U * (Limits::max() / 1000UL)) / 2000,
              record.tdAverageAge);
}
