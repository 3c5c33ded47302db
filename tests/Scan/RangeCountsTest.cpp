#include <gtest/gtest.h>

#include "Scan/RangeCounts.h"

TEST(RangeCountsTest, ACountGoesOnAbove32Bits) {
    RangeCounts counts;
    counts.add(3, 0xFFFFFFFFU);
    counts.add(3, 1);
    counts.add(7, 0xFFFFFFFFU);
    counts.add(7, 0xFFFFFFFFU);
    EXPECT_EQ(0x100000000, counts[3]);
    EXPECT_EQ(0x1FFFFFFFE, counts[7]);
}
