#pragma once

#include <cstdint>
#include <tuple>

/// Where a member of an NMost stands: the smaller key first, of equal keys the older member.
struct Orderer {
    std::int64_t key = 0;
    std::int64_t sequence = 0;  // no two members have the same

    friend bool operator<(const Orderer& left, const Orderer& right) {
        return std::tie(left.key, left.sequence) < std::tie(right.key, right.sequence);
    }
};
