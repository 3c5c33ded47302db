#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <numeric>
#include <utility>
#include <vector>

/// A number that is another in every process; no result depends on it.
[[nodiscard]] std::uint64_t hashSeed();

/// Records by a number, in little memory.
///
/// The records stand one behind the other in blocks that never move; an index of 32-bit
/// positions finds them (open addressing, linear probing). The index is between 66 and 80
/// percent full, so a record costs its own size and at most 6 bytes, and 5 more while the
/// index grows. Holds up to 2^31 records, and then fails like a lack of memory.
///
/// A Record is made from its key, without anything else, and tells it by `key()`.
template <class Record>
class PackedTable {
public:
    [[nodiscard]] std::size_t size() const { return count; }

    /// The record at a position; positions are given from 0 in the order of adding.
    [[nodiscard]] Record& operator[](std::size_t position) const {
        return blocks[position / kPerBlock][position % kPerBlock];
    }

    /// The record of the key, and whether it is new. It stays where it is.
    std::pair<Record&, bool> findOrAdd(std::uint64_t key) {
        if ((count + 1) * 5 > index.size() * 4)
            growIndex();
        std::size_t slot = home(key);
        for (; index[slot] != kFree; slot = after(slot)) {
            Record& found = (*this)[index[slot]];
            if (found.key() == key)
                return {found, false};
        }
        if (count % kPerBlock == 0)
            blocks.push_back(std::make_unique<Record[]>(kPerBlock));
        index[slot] = static_cast<std::uint32_t>(count);
        Record& added = (*this)[count];
        added = Record(key);
        ++count;
        return {added, true};
    }

    /// All positions in the order that `less` gives to the records.
    template <class Less>
    [[nodiscard]] std::vector<std::uint32_t> sortedPositions(Less less) const {
        std::vector<std::uint32_t> positions(count);
        std::iota(positions.begin(), positions.end(), 0U);
        std::sort(positions.begin(), positions.end(),
                  [&](std::uint32_t left, std::uint32_t right) {
                      return less((*this)[left], (*this)[right]);
                  });
        return positions;
    }

    /// Frees the index: from now on records are reached by position alone.
    void dropIndex() { std::vector<std::uint32_t>().swap(index); }

    void clear() { *this = PackedTable(); }

private:
    static constexpr std::uint32_t kFree = UINT32_MAX;
    static constexpr std::size_t kMostRecords = std::size_t{1} << 31U;
    // Records of about 4 KiB.
    static constexpr std::size_t kPerBlock = std::bit_floor(4096 / sizeof(Record));

    /// Where the search for a key begins. The seed keeps users from choosing names or
    /// numbers that all begin at one place. Multiplicative hashing, twice; the factor is
    /// 2^64 / golden ratio.
    [[nodiscard]] std::size_t home(std::uint64_t key) const {
        static constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = (key ^ seed) * kFactor;
        mixed = (mixed ^ (mixed >> 32U)) * kFactor;
        return ((mixed >> 32U) * index.size()) >> 32U;
    }

    [[nodiscard]] std::size_t after(std::size_t slot) const {
        return slot + 1 == index.size() ? 0 : slot + 1;
    }

    void growIndex() {
        if (count >= kMostRecords)
            throw std::bad_alloc();
        std::vector<std::uint32_t> larger(
            std::max<std::size_t>(20, index.size() + index.size() / 5), kFree);
        index.swap(larger);
        for (std::size_t position = 0; position < count; ++position) {
            std::size_t slot = home((*this)[position].key());
            while (index[slot] != kFree)
                slot = after(slot);
            index[slot] = static_cast<std::uint32_t>(position);
        }
    }

    std::uint64_t seed = hashSeed();
    std::size_t count = 0;
    std::vector<std::unique_ptr<Record[]>> blocks;
    std::vector<std::uint32_t> index;  // positions, kFree where there is none
};
