#pragma once

#include <array>
#include <cstdint>

#include "common/mem/BlockHead.h"
#include "common/mem/Segments.h"
#include "common/mem/SizeIndex.h"

/// The free blocks: 128 circular lists, each by ascending size behind a list head that is
/// larger than any block, and a bit for each list that is not empty.
///
/// Blocks up to 384 bytes have a list for each size, larger ones share lists of 2 kilobytes.
/// A list whose links turn out to be overwritten is given up: its blocks are lost, and the
/// others are used on.
///
/// Lives in static memory, which is zero before setUp(). Not locked.
class FreeBins {
public:
    /// Empties all lists, whose heads and blocks lie in `owner`.
    void setUp(Segments& owner) noexcept;

    /// Puts a free block, whose head is written, on its list: before others of its size.
    void insert(BlockRef block, std::int32_t size) noexcept;

    /// Takes a block off its list; false, with nothing done, if its links are overwritten.
    [[nodiscard]] bool remove(BlockRef block, std::int32_t size) noexcept;

    /// Takes a block of `need` bytes or more off its list; empty if there is none.
    [[nodiscard]] BlockRef take(std::int32_t need) noexcept;

    /// True if its neighbours on the list know a free block.
    [[nodiscard]] bool isLinked(BlockRef block) const noexcept;

    /// Free blocks and their bytes on all lists, for comparing.
    struct Sums {
        long blocks = 0;
        long bytes = 0;
    };
    /// Adds up the lists; false if one is broken, out of order or against its bit.
    [[nodiscard]] bool addUp(Sums& sums) const noexcept;

private:
    [[nodiscard]] bool isLinked(BlockRef block, const BlockLinks& links) const noexcept;
    [[nodiscard]] static std::size_t binOf(std::int32_t size) noexcept;
    [[nodiscard]] static std::int32_t firstSizeOf(std::size_t bin) noexcept;
    [[nodiscard]] static std::int32_t lastSizeOf(std::size_t bin) noexcept;
    [[nodiscard]] std::size_t nextBin(std::size_t bin) const noexcept;
    [[nodiscard]] bool isSet(std::size_t bin) const noexcept;
    [[nodiscard]] BlockRef takeThis(BlockRef block, std::int32_t size) noexcept;
    void giveUp(std::size_t bin) noexcept;

    Segments* segments = nullptr;  // not owned
    std::array<std::uint32_t, 4> bitMap{};
    BlockRef largestFree;  // of those seen since it was cleared; always on a list
    std::int32_t largestSize = 0;
    SizeIndex index;
};
