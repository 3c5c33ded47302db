#include "common/mem/PoolCheck.h"

#include "common/mem/kelAssert.h"
#include "common/mem/poolDump.h"
#include "common/ut/TraceScope.h"

int PoolCheck::run() noexcept {
    FoundationScope scope("PoolCheck::run");
    trError("KELMEM(v) Pool validation started\n");
    trError("****    Memory Dump    ****\n");
    checkSegments();
    checkDirectBlocks();
    const PoolStatistics counted = pool.statistics();
    expect(segmentCount == counted.segments && directCount == counted.directBlocks &&
               usedBytes == counted.allocated,
           "statistics are those of the blocks");
    trError("****    End of memory dump    ****\n\n");
    trError("KELMEM(v) Pool validation finished. RC = %d\n", defects);
    printStatistics();
    return defects;
}

void PoolCheck::expect(bool holds, const char* condition) noexcept {
    if (!kelAssert(holds, condition))
        ++defects;
}

void PoolCheck::checkSegments() noexcept {
    trError("\t\t---- Segments dump ----\n");
    const bool whole = pool.allSegments().forEach([this](std::uint32_t number) {
        trError("\tSegment at %p\n",
                static_cast<const void*>(pool.allSegments().at(BlockRef::of(number, 0))));
        ++segmentCount;
        checkSegment(number);
    });
    expect(whole, "(seg)->nextP->prevP == seg");
    FreeBins::Sums listed;
    expect(pool.allBins().addUp(listed), "(block)->nextP->prevP == block");
    expect(listed.blocks == free.blocks && listed.bytes == free.bytes,
           "free blocks are on a list");
}

void PoolCheck::checkSegment(std::uint32_t number) noexcept {
    const int before = defects;
    const Segments& segments = pool.allSegments();
    std::int32_t freeBefore = 0;  // size of the last block if it is free
    BlockRef end = Segments::firstBlock(number);
    const bool ends = segments.forEachBlock(number, [&](BlockRef block, const BlockHead& head) {
        if (!head.isUsed() && !head.isFree()) {
            trError("(Magic value overwritten)\n");
            ++defects;
        }
        expect(head.prevFree == freeBefore, "prevFree == bSize");
        expect(freeBefore == 0 || !head.isFree(), "free neighbours are merged");
        freeBefore = head.isFree() ? head.bSize : 0;
        (head.isFree() ? free.bytes : usedBytes) += head.size();
        free.blocks += head.isFree() ? 1 : 0;
        end = block.plus(head.size());
    });
    expect(ends, "blocks lead to the end mark");
    if (ends)
        expect(segments.head(end).prevFree == freeBefore, "prevFree == bSize");
    if (defects != before)
        KelSegDump(segments, pool.allBins(), number);
}

void PoolCheck::checkDirectBlocks() noexcept {
    trError("\t\t---- Direct allocated blocks dump ----\n");
    const DirectBlocks& blocks = pool.allDirectBlocks();
    const bool whole = blocks.forEach([&](std::uint32_t number) {
        const DirectHead head = blocks.head(number);
        trError("Direct block at %p(%p),prev %p,next %p,Size %ld\n",
                static_cast<const void*>(blocks.base(number)),
                static_cast<const void*>(blocks.payload(number)),
                static_cast<const void*>(blocks.base(head.prevP)),
                static_cast<const void*>(blocks.base(head.nextP)), blocks.size(number));
        if (!head.block.isDirect()) {
            trError("(Magic value overwritten)\n");
            ++defects;
        }
        expect(blocks.find(blocks.payload(number)) == number, "direct block is in the table");
        ++directCount;
        usedBytes += blocks.size(number);
    });
    expect(whole, "((dirBlockP)->nextP->prevP) == dirBlockP");
}

void PoolCheck::printStatistics() const noexcept {
    const PoolStatistics counted = pool.statistics();
    trError("KELMEM(v) Memory statistics\n");
    trError("  Total memory allocated: %ld\n", counted.allocated);
    trError("  Total memory free     : %ld\n", free.bytes);
    trError("  Segments count        : %ld\n", counted.segments);
    trError("  Direct blocks count   : %ld\n", counted.directBlocks);
    trError("Max of segments         : %ld\n", counted.maxSegments);
    trError("Max of direct blocks    : %ld\n", counted.maxDirectBlocks);
}
