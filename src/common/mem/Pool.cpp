#include "common/mem/Pool.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "common/mem/kelAssert.h"
#include "common/ut/TraceScope.h"
#include "common/ut/traceClasses.h"

namespace {

constexpr long kKeptSegments = 2;

// Meant: not the same. A rest below 17 bytes stays with a block that is taken or grows, and
// a tail of 16 is cut off one that shrinks.
constexpr std::int32_t kSmallestRest = 17;
constexpr std::int32_t kSmallestTail = 16;

std::byte* bytesOf(void* pointer) noexcept {
    return static_cast<std::byte*>(pointer);
}
const std::byte* bytesOf(const void* pointer) noexcept {
    return static_cast<const std::byte*>(pointer);
}

bool isAligned(const void* pointer) noexcept {
    return reinterpret_cast<std::uintptr_t>(pointer) % kPoolAlignment == 0;
}

}  // namespace

void Pool::makeReady() noexcept {
    FoundationScope scope("Pool::makeReady");
    segments.setUp();
    bins.setUp(segments);
    directBlocks.setUp();
    keptSegments = kKeptSegments;
    ready = true;
}

void Pool::end() noexcept {
    FoundationScope scope("Pool::end");
    segments.clear();
    directBlocks.clear();
    allocated = 0;
    ready = false;
}

void Pool::setFailureHandler(FailureHandler handler, void (*releaseSome)()) noexcept {
    failureHandler = handler;
    releaseFunction = releaseSome;
}

/// Asks the program, which goes without memory, what to do.
bool Pool::tryAgain() const noexcept {
    if (!failureHandler)
        return false;
    const int decision = failureHandler();
    if (decision == kReleaseAndRetry && releaseFunction)
        releaseFunction();
    return decision != kGiveUp;
}

void* Pool::KelBlockAlloc(long size) noexcept {
    FoundationScope scope("KelBlockAlloc");
    if (size > kLargestPayload)
        return KelDirAlloc(size);
    const std::int32_t need = blockSize(size);
    BlockRef block = bins.take(need);
    while (!block) {
        if (const std::uint32_t number = segments.add())
            block = Segments::firstBlock(number);
        else if (tryAgain())
            block = bins.take(need);  // the program may have freed some
        else
            return nullptr;
    }
    return use(block, need);
}

void* Pool::KelBlock0Alloc(long size) noexcept {
    FoundationScope scope("KelBlock0Alloc");
    void* const payload = KelBlockAlloc(size);
    if (payload)
        std::memset(payload, 0, static_cast<std::size_t>(size));
    return payload;
}

void* Pool::KelDirAlloc(long size) noexcept {
    FoundationScope scope("KelDirAlloc");
    for (;;) {
        if (const std::uint32_t number = directBlocks.add(size)) {
            allocated += directBlocks.size(number);
            return directBlocks.payload(number);
        }
        if (!tryAgain())
            return nullptr;
    }
}

/// Takes `need` bytes of a free block that is on no list into use.
void* Pool::use(BlockRef block, std::int32_t need) noexcept {
    BlockHead head = segments.head(block);
    const std::int32_t rest = head.bSize - need;
    if (rest < kSmallestRest) {
        need = head.bSize;
        head.magic = kUsedMagic;
        head.bSize = -need;
        segments.setHead(block, head);
    } else {
        head.bSize = rest;
        segments.setHead(block, head);
        bins.insert(block, rest);
        block = block.plus(rest);
        segments.setHead(block, {kUsedMagic, static_cast<std::uint16_t>(rest), -need});
    }
    segments.setPrevFree(block.plus(need), 0);
    allocated += need;
    std::byte* const payload = segments.payload(block);
    showMemory(payload, static_cast<std::size_t>(need - kHeadSize));
    return kelAssert(isAligned(payload), "(addr & 3) == 0") ? payload : nullptr;
}

/// True for a sound block in use; what is none is reported.
bool Pool::isUsedBlock(BlockRef block) const noexcept {
    const BlockHead head = segments.isPlace(block) ? segments.head(block) : BlockHead{};
    return kelAssert(head.isUsed() && Segments::isSize(block, head.size()),
                     "(block)->magic == USED");
}

void Pool::KelBlockFree(void* pointer) noexcept {
    FoundationScope scope("KelBlockFree");
    const BlockRef block = segments.find(bytesOf(pointer) - kHeadSize);
    if (!block)
        freeDirect(directBlocks.find(bytesOf(pointer)));
    else if (isUsedBlock(block))
        release(block);
}

void Pool::freeDirect(std::uint32_t number) noexcept {
    const long size = directBlocks.size(number);
    if (kelAssert(number != 0, "(dirBlockP)->magic == USED") && directBlocks.remove(number))
        allocated -= size;
}

/// Frees a sound block: merges it with its free neighbours.
void Pool::release(BlockRef block) noexcept {
    BlockHead head = segments.head(block);
    std::int32_t size = head.size();
    const std::int32_t before = head.prevFree;
    BlockRef start = block;
    if (before != 0) {
        start = before <= block.offset() - kLinksSize ? block.plus(-before) : BlockRef{};
        const BlockHead found = start ? segments.head(start) : BlockHead{};
        if (!kelAssert(found.isFree() && found.bSize == before, "prevFree == bSize") ||
            !bins.remove(start, before))
            return;
    }
    allocated -= size;
    // A block that is freed twice is told even if it is now in the middle of another.
    segments.setHead(block, {kFreeMagic, 0, size});
    size += before;

    const BlockRef next = block.plus(head.size());
    const BlockHead nextHead = segments.head(next);
    if (nextHead.isFree() && Segments::isSize(next, nextHead.bSize) &&
        bins.remove(next, nextHead.bSize))
        size += nextHead.bSize;
    addFree(start, size);
    if (size == kSegmentPayload)
        releaseSegments(start.number());
}

/// Makes a place that is no block any more a free block, on its list.
void Pool::addFree(BlockRef block, std::int32_t size) noexcept {
    segments.setHead(block, {kFreeMagic, 0, size});
    segments.setPrevFree(block.plus(size), size);
    hideMemory(segments.payload(block), static_cast<std::size_t>(size - kHeadSize));
    bins.insert(block, size);
}

/// Gives this empty segment back, and empty ones that follow it in the ring, down to the
/// number that is kept.
void Pool::releaseSegments(std::uint32_t number) noexcept {
    while (segments.count() > keptSegments) {
        const BlockRef block = Segments::firstBlock(number);
        const BlockHead head = segments.head(block);
        if (!head.isFree() || head.bSize != kSegmentPayload)
            return;
        std::uint32_t next = segments.next(number);
        if (!bins.remove(block, kSegmentPayload) || !segments.remove(number))
            return;
        number = next != 0 ? next : segments.next(0);
    }
}

void* Pool::KelBlockRealloc(void* pointer, long size) noexcept {
    FoundationScope scope("KelBlockRealloc");
    const BlockRef block = segments.find(bytesOf(pointer) - kHeadSize);
    if (!block)
        return resizeDirect(directBlocks.find(bytesOf(pointer)), size);
    if (!isUsedBlock(block))
        return nullptr;
    const std::int32_t present = segments.head(block).size();
    if (size <= kLargestPayload) {
        const std::int32_t need = blockSize(size);
        if (need <= present) {
            shrink(block, need);
            return pointer;
        }
        if (grow(block, need))
            return pointer;
    }
    void* const moved = KelBlockAlloc(size);
    if (!moved)
        return nullptr;
    std::memcpy(moved, pointer,
                static_cast<std::size_t>(std::min<long>(size, present - kHeadSize)));
    KelBlockFree(pointer);
    return moved;
}

void* Pool::resizeDirect(std::uint32_t number, long size) noexcept {
    if (!kelAssert(number != 0, "(dirBlockP)->magic == USED"))
        return nullptr;
    const long before = directBlocks.size(number);
    while (!directBlocks.resize(number, size)) {
        if (!tryAgain())
            return nullptr;
    }
    allocated += directBlocks.size(number) - before;
    return directBlocks.payload(number);
}

/// Frees the tail of a block behind `need` bytes, if it is large enough.
void Pool::shrink(BlockRef block, std::int32_t need) noexcept {
    BlockHead head = segments.head(block);
    const std::int32_t tail = head.size() - need;
    if (tail < kSmallestTail)
        return;
    head.bSize = -need;
    segments.setHead(block, head);
    segments.setHead(block.plus(need), {kUsedMagic, 0, -tail});
    release(block.plus(need));
}

/// Takes what is missing from the free block behind; false if there is not enough.
bool Pool::grow(BlockRef block, std::int32_t need) noexcept {
    BlockHead head = segments.head(block);
    const std::int32_t present = head.size();
    const BlockRef next = block.plus(present);
    const BlockHead nextHead = segments.head(next);
    if (!nextHead.isFree() || !Segments::isSize(next, nextHead.bSize) ||
        present + nextHead.bSize < need || !bins.remove(next, nextHead.bSize))
        return false;
    const std::int32_t rest = present + nextHead.bSize - need;
    if (rest < kSmallestRest)
        need += rest;
    head.bSize = -need;
    segments.setHead(block, head);
    if (rest < kSmallestRest)
        segments.setPrevFree(block.plus(need), 0);
    else
        addFree(block.plus(need), rest);
    showMemory(segments.payload(block), static_cast<std::size_t>(need - kHeadSize));
    allocated += need - present;
    return true;
}

Pool::Pointer Pool::validate(const void* pointer) const noexcept {
    FoundationScope scope("Pool::validate");
    if (!pointer || !isAligned(pointer))
        return Pointer::Unknown;
    if (trMemory != 0)
        return search(bytesOf(pointer));
    const BlockRef block = segments.find(bytesOf(pointer) - kHeadSize);
    if (!block)
        return directBlocks.find(bytesOf(pointer)) != 0 ? Pointer::InUse : Pointer::Unknown;
    if (!segments.isPlace(block))
        return Pointer::Unknown;
    const BlockHead head = segments.head(block);
    if (head.isUsed())
        return Pointer::InUse;
    return head.isFree() ? Pointer::Free : Pointer::Unknown;
}

/// Looks for a pointer in all blocks.
Pool::Pointer Pool::search(const std::byte* pointer) const noexcept {
    Pointer found = Pointer::Unknown;
    segments.forEach([&](std::uint32_t number) {
        segments.forEachBlock(number, [&](BlockRef block, const BlockHead& head) {
            if (!head.isUsed() && !head.isFree())
                trError("(Magic value overwritten)\n");
            else if (segments.payload(block) == pointer)
                found = head.isUsed() ? Pointer::InUse : Pointer::Free;
        });
    });
    directBlocks.forEach([&](std::uint32_t number) {
        if (!directBlocks.head(number).block.isDirect())
            trError("(Magic value overwritten)\n");
        else if (directBlocks.payload(number) == pointer)
            found = Pointer::InUse;
    });
    return found;
}

PoolStatistics Pool::statistics() const noexcept {
    return {segments.count(), directBlocks.count(), segments.maxCount(),
            directBlocks.maxCount(), allocated};
}
