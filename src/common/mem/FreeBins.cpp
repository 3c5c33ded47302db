#include "common/mem/FreeBins.h"

#include <algorithm>
#include <bit>

#include "common/mem/kelAssert.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::size_t kBins = Segments::kSentinels;
constexpr std::size_t kOwnBins = 96;  // bins of one size
constexpr unsigned kOwnShift = 2;
constexpr unsigned kSharedShift = 11;
constexpr std::int32_t kSharedSize = 1 << kSharedShift;
constexpr std::size_t kWordBits = 32;

constexpr std::uint32_t bitOf(std::size_t bin) noexcept {
    return 1U << (bin % kWordBits);
}

}  // namespace

std::size_t FreeBins::binOf(std::int32_t size) noexcept {
    const auto rest = static_cast<std::uint32_t>(size - kPoolAlignment);
    const std::size_t own = rest >> kOwnShift;
    return own < kOwnBins ? own
                          : std::min<std::size_t>((rest >> kSharedShift) + kOwnBins, kBins - 1);
}

std::int32_t FreeBins::lastSizeOf(std::size_t bin) noexcept {
    if (bin < kOwnBins)
        return (static_cast<std::int32_t>(bin) + 1) * kPoolAlignment;
    const auto shared = static_cast<std::int32_t>(bin - kOwnBins);
    return std::min((shared + 1) * kSharedSize, kSegmentPayload);
}

std::int32_t FreeBins::firstSizeOf(std::size_t bin) noexcept {
    return bin == 0 ? kPoolAlignment : lastSizeOf(bin - 1) + kPoolAlignment;
}

void FreeBins::setUp(Segments& owner) noexcept {
    segments = &owner;
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        segments->setLinks(Segments::sentinel(bin),
                           {Segments::sentinel(bin), Segments::sentinel(bin)});
    }
    bitMap = {};
    largestFree = {};
    largestSize = 0;
    index.clear();
}

bool FreeBins::isSet(std::size_t bin) const noexcept {
    return (bitMap[bin / kWordBits] & bitOf(bin)) != 0;
}

inline bool FreeBins::isLinked(BlockRef block, const BlockLinks& links) const noexcept {
    return segments->isPlace(links.nextP) && segments->isPlace(links.prevP) &&
           segments->links(links.nextP).prevP == block &&
           segments->links(links.prevP).nextP == block;
}

bool FreeBins::isLinked(BlockRef block) const noexcept {
    return isLinked(block, segments->links(block));
}

void FreeBins::insert(BlockRef block, std::int32_t size) noexcept {
    FoundationScope scope("FreeBins::insert");
    const std::size_t bin = binOf(size);
    const std::int32_t nextSize = index.next(size, lastSizeOf(bin));
    BlockRef next = nextSize != 0 ? index.first(nextSize) : Segments::sentinel(bin);
    BlockRef prev = segments->links(next).prevP;
    if (!kelAssert(segments->isPlace(prev) && segments->links(prev).nextP == next,
                   "(block)->prevP->nextP == block")) {
        giveUp(bin);
        next = prev = Segments::sentinel(bin);
    }
    segments->setLinks(block, {next, prev});
    segments->setNextP(prev, block);
    segments->setPrevP(next, block);
    index.setFirst(size, block);
    bitMap[bin / kWordBits] |= bitOf(bin);
    if (size > largestSize) {
        largestFree = block;
        largestSize = size;
    }
}

bool FreeBins::remove(BlockRef block, std::int32_t size) noexcept {
    FoundationScope scope("FreeBins::remove");
    const auto [next, prev] = segments->links(block);
    if (!kelAssert(isLinked(block, {next, prev}), "(block)->nextP->prevP == block"))
        return false;
    segments->setNextP(prev, next);
    segments->setPrevP(next, prev);
    if (index.isFirst(size, block)) {
        // The head of a list is larger than any block.
        if (segments->head(next).bSize == size)
            index.setFirst(size, next);
        else
            index.remove(size);
    }
    const std::size_t bin = binOf(size);
    if (next == prev && next == Segments::sentinel(bin))
        bitMap[bin / kWordBits] &= ~bitOf(bin);
    if (largestFree == block) {
        largestFree = {};
        largestSize = 0;
    }
    return true;
}

BlockRef FreeBins::take(std::int32_t need) noexcept {
    FoundationScope scope("FreeBins::take");
    const std::size_t bin = binOf(need);
    if (isSet(bin)) {
        const std::int32_t size = index.next(need, lastSizeOf(bin));
        const BlockRef block = size != 0 ? takeThis(index.first(size), size) : BlockRef{};
        if (block)
            return block;
    }
    if (largestSize >= need) {
        const BlockRef block = takeThis(largestFree, largestSize);
        if (block)
            return block;
    }
    const std::size_t higher = nextBin(bin + 1);
    if (higher == kBins)
        return {};
    const std::int32_t smallest = index.next(firstSizeOf(higher), lastSizeOf(higher));
    return takeThis(index.first(smallest), smallest);
}

/// The first bin from `bin` on that is not empty; kBins for none.
std::size_t FreeBins::nextBin(std::size_t bin) const noexcept {
    if (bin >= kBins)
        return kBins;
    std::size_t word = bin / kWordBits;
    std::uint32_t found = bitMap[word] & ~(bitOf(bin) - 1);
    while (found == 0 && ++word < bitMap.size())
        found = bitMap[word];
    return found == 0 ? kBins
                      : word * kWordBits + static_cast<std::size_t>(std::countr_zero(found));
}

/// Takes this block of this size; empty, and without its list, if it is overwritten.
BlockRef FreeBins::takeThis(BlockRef block, std::int32_t size) noexcept {
    const BlockHead head = segments->head(block);
    if (kelAssert(head.isFree() && head.bSize == size, "(block)->magic == FREE") &&
        remove(block, size))
        return block;
    giveUp(binOf(size));
    return {};
}

void FreeBins::giveUp(std::size_t bin) noexcept {
    segments->setLinks(Segments::sentinel(bin),
                       {Segments::sentinel(bin), Segments::sentinel(bin)});
    bitMap[bin / kWordBits] &= ~bitOf(bin);
    const std::int32_t last = lastSizeOf(bin);
    for (std::int32_t size = firstSizeOf(bin); size <= last; size += kPoolAlignment)
        index.remove(size);
    largestFree = {};
    largestSize = 0;
}

bool FreeBins::addUp(Sums& sums) const noexcept {
    bool sound = true;
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        const BlockRef end = Segments::sentinel(bin);
        std::int32_t lastSize = 0;
        for (BlockRef block = end;;) {
            if (!isLinked(block))
                return false;
            block = segments->links(block).nextP;
            if (block == end)
                break;
            const BlockHead head = segments->head(block);
            if (!head.isFree() || head.bSize < lastSize || head.bSize > lastSizeOf(bin) ||
                head.bSize < firstSizeOf(bin))
                return false;
            sound &= head.bSize == lastSize || index.isFirst(head.bSize, block);
            lastSize = head.bSize;
            ++sums.blocks;
            sums.bytes += head.bSize;
        }
        sound &= isSet(bin) == (lastSize != 0);
    }
    return sound;
}
