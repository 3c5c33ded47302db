#pragma once

#include <cstddef>

#include "common/mem/DirectBlocks.h"
#include "common/mem/FreeBins.h"
#include "common/mem/Segments.h"

/// What a pool has and had.
struct PoolStatistics {
    long segments = 0;
    long directBlocks = 0;
    long maxSegments = 0;
    long maxDirectBlocks = 0;
    long allocated = 0;  // bytes of blocks in use, heads included
};

/// Decides what to do without memory, by one of these codes. Any other is kRetry.
using FailureHandler = int (*)();
inline constexpr int kRetry = 0;
inline constexpr int kGiveUp = 1;
inline constexpr int kReleaseAndRetry = 2;

/// The pool: blocks for a program that allocates small ones without end. Free neighbours are
/// merged at once, a block is cut from the high end of a free one, and a segment that has
/// become empty goes back to the system if there are others.
///
/// Addresses are those of payloads. Lives in static memory; nothing is destroyed, so that it
/// serves until the process ends. Not locked: keMalloc.h is the way in for programs.
class Pool {
public:
    enum class Pointer { InUse, Free, Unknown };

    /// Makes the pool ready; harmless if it is.
    void setUp() noexcept {
        if (!ready) [[unlikely]]
            makeReady();
    }

    /// Gives all memory back and sets all counts back. Blocks in use are gone.
    void end() noexcept;

    /// `releaseSome` is what kReleaseAndRetry calls; null for nothing. Both may use the pool.
    void setFailureHandler(FailureHandler handler, void (*releaseSome)()) noexcept;

    /// Blocks for sizes above 0; null without memory.
    [[nodiscard]] void* KelBlockAlloc(long size) noexcept;
    [[nodiscard]] void* KelBlock0Alloc(long size) noexcept;  // cleared

    /// A block that is found broken stays as it is.
    void KelBlockFree(void* pointer) noexcept;

    /// The block with another size, at the same place if that can be; null, with the block
    /// as it was, without memory.
    [[nodiscard]] void* KelBlockRealloc(void* pointer, long size) noexcept;

    /// What a pointer is. With the class MEMORY on, all blocks are walked and what is
    /// overwritten is reported; else what lies before the pointer is believed.
    [[nodiscard]] Pointer validate(const void* pointer) const noexcept;

    [[nodiscard]] PoolStatistics statistics() const noexcept;
    [[nodiscard]] const Segments& allSegments() const noexcept { return segments; }
    [[nodiscard]] const FreeBins& allBins() const noexcept { return bins; }
    [[nodiscard]] const DirectBlocks& allDirectBlocks() const noexcept { return directBlocks; }

private:
    void makeReady() noexcept;
    [[nodiscard]] void* KelDirAlloc(long size) noexcept;
    [[nodiscard]] void* resizeDirect(std::uint32_t number, long size) noexcept;
    void freeDirect(std::uint32_t number) noexcept;

    [[nodiscard]] bool tryAgain() const noexcept;
    [[nodiscard]] bool isUsedBlock(BlockRef block) const noexcept;
    [[nodiscard]] void* use(BlockRef block, std::int32_t need) noexcept;
    void release(BlockRef block) noexcept;
    void addFree(BlockRef block, std::int32_t size) noexcept;
    void releaseSegments(std::uint32_t number) noexcept;
    void shrink(BlockRef block, std::int32_t need) noexcept;
    [[nodiscard]] bool grow(BlockRef block, std::int32_t need) noexcept;
    [[nodiscard]] Pointer search(const std::byte* pointer) const noexcept;

    bool ready = false;
    long keptSegments = 0;
    long allocated = 0;
    FailureHandler failureHandler = nullptr;
    void (*releaseFunction)() = nullptr;
    DirectBlocks directBlocks;
    FreeBins bins;
    Segments segments;
};
