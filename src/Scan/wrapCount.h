#pragma once

#include <cstdint>

/// The count after one more. A field of 32 bits wraps behind 2^31 - 1 in a defined way.
inline std::int32_t oneMore(std::int32_t count) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(count) + 1U);
}
