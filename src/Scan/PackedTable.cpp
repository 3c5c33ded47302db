#include "Scan/PackedTable.h"

#include <chrono>
#include <unistd.h>

namespace {

std::uint64_t drawSeed() {
    std::uint64_t seed = 0;
    if (getentropy(&seed, sizeof seed) != 0)
        seed = static_cast<std::uint64_t>(
            std::chrono::steady_clock::now().time_since_epoch().count());
    return seed;
}

}  // namespace

std::uint64_t hashSeed() {
    static const std::uint64_t seed = drawSeed();
    return seed;
}
