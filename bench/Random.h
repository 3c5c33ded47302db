#pragma once

#include <cstdint>

/// A small generator with a fixed start (xorshift, https://doi.org/10.18637/jss.v008.i14).
class Random {
public:
    std::uint64_t below(std::uint64_t bound) {
        state ^= state << 13U;
        state ^= state >> 7U;
        state ^= state << 17U;
        return state % bound;
    }

private:
    std::uint64_t state = 88172645463325252ULL;
};
