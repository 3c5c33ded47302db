#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

/// Entries by number, which are given out from 1 on and used again. An entry has a field
/// `base`, null while its number is unused, and a field `chain`, free for its user while it is
/// not; both are zero at first. Number 0 is the user's own.
///
/// Lives in static memory, which is zero before setUp(), and takes no memory for the first
/// numbers. Nothing is destroyed: what it points to stays reachable until the process ends.
template <class Entry>
class NumberTable {
    static_assert(std::is_trivially_copyable_v<Entry>);

public:
    void setUp() noexcept {
        entries = few.data();
        capacity = kFew;
    }

    /// A number up to `last` that was unused; 0 if there is none or no memory for it. It is
    /// used from then on, until it is given back.
    [[nodiscard]] std::uint32_t take(std::uint32_t last) noexcept {
        const std::uint32_t number = unused != 0 ? unused : highest + 1;
        if (number > last || (number >= capacity && !grow()))
            return 0;
        if (unused != 0)
            unused = entries[number].chain;
        highest = std::max(highest, number);
        return number;
    }

    void giveBack(std::uint32_t number) noexcept {
        entries[number].base = nullptr;
        entries[number].chain = unused;
        unused = number;
    }

    /// Forgets all numbers; what the entries point to must be gone.
    void clear() noexcept {
        if (entries != few.data())
            std::free(entries);
        few = {};
        highest = unused = 0;
        setUp();
    }

    /// True if there is something at this number, which may be any.
    [[nodiscard]] bool isUsed(std::uint32_t number) const noexcept {
        return number <= highest && entries[number].base;
    }

    /// The highest number ever taken.
    [[nodiscard]] std::uint32_t last() const noexcept { return highest; }

    [[nodiscard]] Entry& operator[](std::uint32_t number) noexcept { return entries[number]; }
    [[nodiscard]] const Entry& operator[](std::uint32_t number) const noexcept {
        return entries[number];
    }

private:
    static constexpr std::uint32_t kFew = 64;

    [[nodiscard]] bool grow() noexcept {
        auto* const more =
            static_cast<Entry*>(std::calloc(2 * std::size_t{capacity}, sizeof(Entry)));
        if (!more)
            return false;
        std::copy_n(entries, capacity, more);
        if (entries != few.data())
            std::free(entries);
        entries = more;
        capacity *= 2;
        return true;
    }

    Entry* entries = nullptr;  // owned, or `few`
    std::uint32_t capacity = 0;
    std::uint32_t highest = 0;
    std::uint32_t unused = 0;  // first of the numbers given back
    std::array<Entry, kFew> few{};
};
