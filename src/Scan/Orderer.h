#pragma once

#include <compare>
#include <cstdint>

/// Where a member of an NMost stands: the smaller key first, of equal keys the older member.
struct Orderer {
    std::int64_t key = 0;
    std::int64_t sequence = 0;  // no two members have the same

    friend auto operator<=>(const Orderer&, const Orderer&) = default;
};
