#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "common/mem/BlockHead.h"
#include "common/mem/NumberTable.h"

/// What stands before the payload of a direct block.
struct DirectHead {
    std::uint32_t number;   // its own in the table
    std::uint32_t lowSize;  // of the allocation, the low word
    std::uint32_t nextP;    // numbers of its neighbours in the ring
    std::uint32_t prevP;
    BlockHead block;
};
static_assert(sizeof(DirectHead) == 24);

/// Blocks too large for a segment, each an allocation of its own, and their ring. A table
/// holds where each one begins and its full size.
///
/// Lives in static memory, which is zero before setUp(). Not locked.
class DirectBlocks {
public:
    /// Makes the ring; only without blocks.
    void setUp() noexcept;

    /// The number of a new block; 0 without memory.
    [[nodiscard]] std::uint32_t add(long payloadSize) noexcept;

    /// Gives a block another size, and perhaps another place; false, with the block as it
    /// was, without memory.
    [[nodiscard]] bool resize(std::uint32_t number, long payloadSize) noexcept;

    /// Frees a block; false, with nothing done, if the ring is broken at it.
    [[nodiscard]] bool remove(std::uint32_t number) noexcept;

    /// Frees all blocks and forgets what was counted.
    void clear() noexcept;

    /// The number of the block with this payload; 0 for none. Reads what lies before it.
    [[nodiscard]] std::uint32_t find(const std::byte* payload) const noexcept;

    [[nodiscard]] long count() const noexcept { return blockCount; }
    [[nodiscard]] long maxCount() const noexcept { return maxBlocks; }

    /// Bytes of the allocation, head included.
    [[nodiscard]] long size(std::uint32_t number) const noexcept { return table[number].size; }
    [[nodiscard]] std::byte* base(std::uint32_t number) const noexcept {  // any number
        return table.isUsed(number) ? table[number].base : nullptr;
    }
    [[nodiscard]] std::byte* payload(std::uint32_t number) const noexcept {
        return table[number].base + sizeof(DirectHead);
    }
    [[nodiscard]] DirectHead head(std::uint32_t number) const noexcept;

    /// Shows each block; false if the ring is broken, where it ends then.
    template <class Visit>
    bool forEach(const Visit& visit) const {
        for (std::uint32_t number = 0;;) {
            if (!isLinked(number))
                return false;
            number = head(number).nextP;
            if (number == 0)
                return true;
            visit(number);
        }
    }

private:
    struct Entry {
        std::byte* base;      // owned, except that of number 0
        long size;            // of the allocation, bytes
        std::uint32_t chain;  // of the table
    };

    [[nodiscard]] bool isLinked(std::uint32_t number) const noexcept;
    void setHead(std::uint32_t number, const DirectHead& head) noexcept;
    void link(std::uint32_t number, std::uint32_t following) noexcept;
    void freeBlock(std::uint32_t number) noexcept;

    long blockCount = 0;
    long maxBlocks = 0;
    NumberTable<Entry> table;
    std::array<std::byte, sizeof(DirectHead)> ringEnds{};  // number 0
};
