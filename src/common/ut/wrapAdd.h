#pragma once

#include <cstdint>

/// The sum in 64 bits. A file system may report any count of blocks, so sums of them wrap
/// in a defined way.
inline std::int64_t wrapAdd(std::int64_t left, std::int64_t right) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) +
                                     static_cast<std::uint64_t>(right));
}
