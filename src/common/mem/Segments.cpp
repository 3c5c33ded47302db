#include "common/mem/Segments.h"

#include <algorithm>
#include <cstdlib>

#include "common/mem/kelAssert.h"
#include "common/ut/TraceScope.h"

namespace {

// Segments are a little shorter than 64 kilobytes: an address lies in one that begins in the
// same 64 kilobytes of the address space or in those before.
constexpr unsigned kGranuleBits = 16;

std::uintptr_t numeric(const void* address) noexcept {
    return reinterpret_cast<std::uintptr_t>(address);
}

}  // namespace

void Segments::setUp() noexcept {
    table.setUp();
    table[0].base = area.data();
    link(0, 0);
    for (std::size_t bin = 0; bin < kSentinels; ++bin)
        setHead(sentinel(bin), {kUsedMagic, 0, INT32_MAX});
}

std::uint32_t& Segments::bucketOf(const std::byte* base) noexcept {
    return buckets[(numeric(base) >> kGranuleBits) % kBuckets];
}

std::uint32_t Segments::add() noexcept {
    FoundationScope scope("Segments::add");
    const std::uint32_t number = table.take(BlockRef::kLastNumber);
    if (number == 0)
        return 0;
    auto* const base = static_cast<std::byte*>(std::malloc(DS_SEG_SIZE));
    if (!base) {
        table.giveBack(number);
        return 0;
    }
    std::uint32_t& bucket = bucketOf(base);
    table[number] = {base, bucket};
    bucket = number;
    const std::uint32_t first = next(0);
    link(0, number);
    link(number, first);
    setHead(firstBlock(number), {kFreeMagic, 0, kSegmentPayload});
    setHead(BlockRef::of(number, kEndOffset), {kUsedMagic, kSegmentPayload, kEndMark});
    hideMemory(payload(firstBlock(number)), kLargestPayload);
    maxSegments = std::max(maxSegments, ++segmentCount);
    return number;
}

bool Segments::remove(std::uint32_t number) noexcept {
    FoundationScope scope("Segments::remove");
    const std::uint32_t before = previous(number);
    if (!kelAssert(isLinked(number) && table.isUsed(before) && next(before) == number,
                   "(seg)->nextP->prevP == seg"))
        return false;
    link(before, next(number));
    freeSegment(number);
    return true;
}

void Segments::clear() noexcept {
    FoundationScope scope("Segments::clear");
    for (std::uint32_t number = 1; number <= table.last(); ++number) {
        if (table.isUsed(number))
            freeSegment(number);
    }
    table.clear();
    maxSegments = 0;
}

void Segments::freeSegment(std::uint32_t number) noexcept {
    const auto [base, chain] = table[number];
    std::uint32_t* place = &bucketOf(base);
    while (*place != number)
        place = &table[*place].chain;
    *place = chain;
    table.giveBack(number);
    showMemory(base, DS_SEG_SIZE);
    std::free(base);
    --segmentCount;
}

BlockRef Segments::find(const void* address) const noexcept {
    const std::uintptr_t granule = numeric(address) >> kGranuleBits;
    for (const std::uintptr_t near : {granule, granule - 1}) {
        for (std::uint32_t number = buckets[near % kBuckets]; number != 0;
             number = table[number].chain) {
            const std::uintptr_t offset = numeric(address) - numeric(table[number].base);
            if (offset < DS_SEG_SIZE)
                return BlockRef::of(number, static_cast<std::int32_t>(offset));
        }
    }
    return {};
}
