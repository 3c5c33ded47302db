#pragma once

#include <array>
#include <cstdint>

#include "common/mem/BlockHead.h"

/// The first block of each size on the lists of free blocks.
///
/// A list that many sizes share is ordered, and with this it is not walked: both the place of
/// a block in it and the smallest block that fits are found in a few words of a bit set. With
/// walks, replacing a block cost 3.5 times as much among 10,000 blocks of the sizes of a scan,
/// and 6 times as much among 100,000 (bench/measurePool.cpp).
class SizeIndex {
public:
    void clear() noexcept { words.fill(0); }

    /// The smallest size from `size` to `last` that has a block; 0 for none.
    [[nodiscard]] std::int32_t next(std::int32_t size, std::int32_t last) const noexcept;

    /// Only for a size that next() gave.
    [[nodiscard]] BlockRef first(std::int32_t size) const noexcept {
        return firsts[slot(size)];
    }
    [[nodiscard]] bool isFirst(std::int32_t size, BlockRef block) const noexcept {
        return (words[slot(size) / kBits] & bit(slot(size))) != 0 && first(size) == block;
    }

    void setFirst(std::int32_t size, BlockRef block) noexcept {
        firsts[slot(size)] = block;
        words[slot(size) / kBits] |= bit(slot(size));
    }
    void remove(std::int32_t size) noexcept { words[slot(size) / kBits] &= ~bit(slot(size)); }

private:
    static constexpr std::size_t kBits = 64;
    static constexpr std::size_t kSlots = kSegmentPayload / kPoolAlignment + 1;

    static constexpr std::size_t slot(std::int32_t size) noexcept {
        return static_cast<std::size_t>(size) / kPoolAlignment;
    }
    static constexpr std::uint64_t bit(std::size_t slot) noexcept {
        return std::uint64_t{1} << (slot % kBits);
    }

    std::array<std::uint64_t, kSlots / kBits + 1> words{};
    std::array<BlockRef, kSlots> firsts{};  // valid where the bit is set
};
