#include <limits>

#include "Scan/AccumTest.h"
#include "Scan/CuStatAccum.h"
#include "Scan/CuStatDef.h"

class CuStatAccumTest : public AccumTest {
protected:
    std::unique_ptr<CuStatResults> begin(CuStatAccum& accum) {
        statistic.sdSummary = true;
        accum.buildAccum(&statistic, &filesystem);
        return accum.takeResults();
    }

    void meet(CuStatAccum& accum, std::int64_t blocks, int links, std::int64_t inode) {
        FileAttributes entry = file("/file.txt", blocks);
        entry.faLinkCount = links;
        entry.faInodeNumber = inode;
        accum.actUpon(&scanner, &entry);
    }

    CuStatDef statistic;
};

// Meant: the first link of a file never counts, each later one does.
TEST_F(CuStatAccumTest, EachStatisticCountsAFileAtItsLaterLinks) {
    constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
    CuStatAccum accum, other;
    const auto own = begin(accum);
    const auto otherResults = begin(other);
    for (const int blocks : {1, 10})
        meet(accum, blocks, 2, 77);
    for (const auto blocks : {kMost - 1, kMost, kMost})
        meet(accum, blocks, 3, 78);
    meet(accum, 100000, 2, 79);
    meet(other, 7, 2, 77);
    EXPECT_EQ(10 - 2, own->srSummary->sumTotalSize);  // the sum wraps
    EXPECT_EQ(3, own->srSummary->sumFileCount);
    EXPECT_EQ(0, otherResults->srSummary->sumFileCount);
}

TEST_F(CuStatAccumTest, ANewRunForgetsItsLinksAloneInASharedTable) {
    const auto table = std::make_shared<InodeTable>();
    CuStatAccum accum(table), other(table);
    const auto otherResults = begin(other);
    for (const int run : {0, 1}) {
        const auto own = begin(accum);
        meet(accum, 1, 2, 77);
        meet(other, 1, 2, 77);
        EXPECT_EQ(0, own->srSummary->sumFileCount);
        EXPECT_EQ(run, otherResults->srSummary->sumFileCount);
    }
}
