#include <limits>

#include "Scan/AccumTest.h"
#include "Scan/SizeDistAccum.h"

class SizeDistAccumTest : public AccumTest {};

TEST_F(SizeDistAccumTest, EachSizeLiesInItsRange) {
    using Limits = std::numeric_limits<std::int64_t>;
    SSizeDist record;
    SizeDistAccum accum(&record);
    std::size_t range = 0;
    for (const std::int64_t bound : {2, 20, 200, 2048, 20480, 204800, 1024000}) {
        EXPECT_EQ(range, SizeRanges::bucket(bound)) << bound;
        EXPECT_EQ(++range, SizeRanges::bucket(bound + 1)) << bound;
        meet(accum, file("file", bound));
    }
    meet(accum, file("directory", 1024001, FA_DIRECTORY));
    meet(accum, file("largest", Limits::max()));
    EXPECT_EQ((std::array<std::int64_t, 8>{1, 1, 1, 1, 1, 1, 1, 2}), record.szdCounts);
    EXPECT_EQ(Limits::min() + 1024000, record.szdSizes[7]);  // wraps
}
