#pragma once

#include <cstdint>

#include "common/mem/Pool.h"

/// One validation of a whole pool: rings, heads and end marks, sizes, the lists of free
/// blocks, and what was counted. It is told in the trace, with the contents of a segment
/// that is broken. Of sound blocks in use it reads the heads alone, for other threads may be
/// at work in them.
class PoolCheck {
public:
    explicit PoolCheck(const Pool& checked) noexcept : pool(checked) {}

    /// 0, or the number of things that are not as they should be.
    [[nodiscard]] int run() noexcept;

private:
    void expect(bool holds, const char* condition) noexcept;
    void checkSegments() noexcept;
    void checkSegment(std::uint32_t number) noexcept;
    void checkDirectBlocks() noexcept;
    void printStatistics() const noexcept;

    const Pool& pool;
    int defects = 0;
    long segmentCount = 0;
    long directCount = 0;
    long usedBytes = 0;
    FreeBins::Sums free;
};
