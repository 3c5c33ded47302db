#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/mem/BlockHead.h"
#include "common/mem/NumberTable.h"
#include "common/mem/hiddenMemory.h"

/// The segments by number, their ring, and all access to the blocks in them.
///
/// Lives in static memory, which is zero before setUp(). Not locked.
class Segments {
public:
    static constexpr std::size_t kSentinels = 128;

    /// Makes the ring and the list heads; only without segments.
    void setUp() noexcept;

    /// Asks for a segment, whose one free block is on no list yet; 0 without memory.
    [[nodiscard]] std::uint32_t add() noexcept;

    /// Gives a segment back to the system; none of its blocks may be on a list. False, with
    /// nothing done, if the ring is broken at it.
    [[nodiscard]] bool remove(std::uint32_t number) noexcept;

    /// Gives all segments back, whatever they hold, and forgets what was counted.
    void clear() noexcept;

    /// The place in a segment at an address that is a multiple of 4; empty if it is in none.
    [[nodiscard]] BlockRef find(const void* address) const noexcept;

    [[nodiscard]] long count() const noexcept { return segmentCount; }
    [[nodiscard]] long maxCount() const noexcept { return maxSegments; }

    /// The ring, whose start and end is number 0.
    [[nodiscard]] std::uint32_t next(std::uint32_t number) const noexcept {
        return word(BlockRef::of(number, 0)).number();
    }

    /// Shows each segment; false if the ring is broken, where it ends then.
    template <class Visit>
    bool forEach(const Visit& visit) const {
        for (std::uint32_t number = 0;;) {
            if (!isLinked(number))
                return false;
            number = next(number);
            if (number == 0)
                return true;
            visit(number);
        }
    }

    /// Shows each block of a segment with its head, whatever that holds; false if the blocks
    /// do not lead to a sound end mark.
    template <class Visit>
    bool forEachBlock(std::uint32_t number, const Visit& visit) const {
        BlockRef block = firstBlock(number);
        while (block.offset() < kEndOffset) {
            const BlockHead found = head(block);
            visit(block, found);
            if (!isSize(block, found.size()))
                return false;
            block = block.plus(found.size());
        }
        const BlockHead end = head(block);
        return end.magic == kUsedMagic && end.bSize == kEndMark;
    }

    [[nodiscard]] static BlockRef firstBlock(std::uint32_t number) noexcept {
        return BlockRef::of(number, kLinksSize);
    }
    [[nodiscard]] static BlockRef sentinel(std::size_t bin) noexcept {
        return BlockRef::of(0, kLinksSize + static_cast<std::int32_t>(bin) * kMinBlock);
    }

    /// True if a block of this size has room at this place.
    [[nodiscard]] static bool isSize(BlockRef block, std::int32_t size) noexcept {
        return size >= kMinBlock && size % kPoolAlignment == 0 &&
               size <= kEndOffset - block.offset();
    }

    /// True if the reference leads to a place at which links can be read.
    [[nodiscard]] bool isPlace(BlockRef block) const noexcept {
        const std::int32_t end =
            block.number() == 0 ? static_cast<std::int32_t>(kAreaSize) : kEndOffset;
        return table.isUsed(block.number()) && block.offset() >= kLinksSize &&
               block.offset() + kMinBlock <= end;
    }

    [[nodiscard]] std::byte* at(BlockRef place) const noexcept {
        return table[place.number()].base + place.offset();
    }
    [[nodiscard]] std::byte* payload(BlockRef block) const noexcept {
        return at(block) + kHeadSize;
    }

    /// Also of a block that was merged and lies hidden in the middle of a free one.
    [[nodiscard]] BlockHead head(BlockRef block) const noexcept {
        const ShownMemory shown(at(block), kHeadSize);
        BlockHead read;
        std::memcpy(&read, at(block), sizeof read);
        return read;
    }
    void setHead(BlockRef block, const BlockHead& head) noexcept {
        showMemory(at(block), sizeof head);  // it may be new there
        std::memcpy(at(block), &head, sizeof head);
    }
    void setPrevFree(BlockRef block, std::int32_t size) noexcept {
        const auto prevFree = static_cast<std::uint16_t>(size);
        std::memcpy(at(block) + offsetof(BlockHead, prevFree), &prevFree, sizeof prevFree);
    }

    /// The links of a free block or a list head.
    [[nodiscard]] BlockLinks links(BlockRef block) const noexcept {
        const ShownMemory shown(payload(block), kLinksSize);
        return {word(block.plus(kHeadSize)), word(block.plus(kHeadSize + kPoolAlignment))};
    }
    void setLinks(BlockRef block, const BlockLinks& links) noexcept {
        const ShownMemory shown(payload(block), kLinksSize);
        std::memcpy(payload(block), &links, sizeof links);
    }
    void setNextP(BlockRef block, BlockRef link) noexcept {
        setHiddenWord(block.plus(kHeadSize), link);
    }
    void setPrevP(BlockRef block, BlockRef link) noexcept {
        setHiddenWord(block.plus(kHeadSize + kPoolAlignment), link);
    }

private:
    static constexpr std::size_t kAreaSize = kLinksSize + kSentinels * kMinBlock;
    static constexpr std::size_t kBuckets = 16384;

    struct Entry {
        std::byte* base;      // owned, except that of number 0
        std::uint32_t chain;  // the next segment of its bucket
    };

    [[nodiscard]] bool isLinked(std::uint32_t number) const noexcept {
        return table.isUsed(next(number)) && previous(next(number)) == number;
    }
    [[nodiscard]] std::uint32_t previous(std::uint32_t number) const noexcept {
        return word(BlockRef::of(number, kPoolAlignment)).number();
    }
    void link(std::uint32_t number, std::uint32_t following) noexcept {
        setWord(BlockRef::of(number, 0), BlockRef::of(following, 0));
        setWord(BlockRef::of(following, kPoolAlignment), BlockRef::of(number, 0));
    }
    void freeSegment(std::uint32_t number) noexcept;
    [[nodiscard]] std::uint32_t& bucketOf(const std::byte* base) noexcept;

    [[nodiscard]] BlockRef word(BlockRef place) const noexcept {
        BlockRef read;
        std::memcpy(&read.value, at(place), sizeof read.value);
        return read;
    }
    void setWord(BlockRef place, BlockRef link) noexcept {
        std::memcpy(at(place), &link.value, sizeof link.value);
    }
    void setHiddenWord(BlockRef place, BlockRef link) noexcept {
        const ShownMemory shown(at(place), sizeof place.value);
        setWord(place, link);
    }

    long segmentCount = 0;
    long maxSegments = 0;
    NumberTable<Entry> table;
    std::array<std::byte, kAreaSize> area{};        // segment 0
    std::array<std::uint32_t, kBuckets> buckets{};  // segments by their address
};
