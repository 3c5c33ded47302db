#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The eight size ranges, the same on every host, so that a server can add them up.
class SizeRanges {
public:
    static constexpr std::size_t kCount = 8;

    /// The range of a size in blocks of 512 bytes; a size on a bound lies in that range.
    [[nodiscard]] static constexpr std::size_t bucket(std::int64_t size) {
        std::size_t range = 0;
        while (range < kBounds.size() && size > kBounds[range])
            ++range;
        return range;
    }

private:
    // Upper bounds in blocks: 1, 10, 100 KiB, 1, 10, 100, 500 MiB; the last range has none.
    static constexpr std::array<std::int64_t, kCount - 1> kBounds = {
        2, 20, 200, 2048, 20480, 204800, 1024000};
};
