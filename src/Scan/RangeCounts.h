#pragma once

#include <array>
#include <cstdint>

#include "Scan/SizeRanges.h"

/// Counts by size range, in 40 bits each: 40 bytes in all, and more than anybody counts.
class RangeCounts {
public:
    void add(std::size_t range, std::uint32_t number) {
        low[range] += number;
        if (low[range] < number)
            ++high[range];
    }

    [[nodiscard]] std::int64_t operator[](std::size_t range) const {
        return std::int64_t{high[range]} << 32U | low[range];
    }

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        pack(self.low, self.high);
    }

private:
    std::array<std::uint32_t, SizeRanges::kCount> low{};
    std::array<std::uint8_t, SizeRanges::kCount> high{};
};
