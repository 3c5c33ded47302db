#pragma once

#include "common/mem/Pool.h"

/// The pool of the process, for programs that allocate small blocks without end and want to
/// find leaks and overruns.
///
/// A payload is aligned to 4 bytes and to no more: objects that need more, such as those with
/// pointers, must not live here. `file` and `line` are the caller's, for reports; a
/// null `file` is told as "?". What is wrong is reported in the trace at every level. With
/// the trace class MEMORY each call is traced and every pointer is looked for in all blocks;
/// with MEMDETAIL the whole pool is checked after each call.
///
/// Any thread: one lock covers everything. It is held while a failure handler runs, which
/// may use the pool.

/// Makes the pool ready. Takes no memory, and is done by the first call that needs it too.
void KelPoolSetUp() noexcept;

/// Gives all memory of the pool back; blocks in use are gone.
void KelPoolEnd() noexcept;

/// A block for `size` bytes, which are more than 0; null otherwise and without memory.
[[nodiscard]] void* keMalloc(long size, const char* file, int line) noexcept;

/// A cleared block for `count` times `size` bytes, both more than 0.
[[nodiscard]] void* keCalloc(long size, long count, const char* file, int line) noexcept;

/// The block with another size, perhaps elsewhere; null, with the block as it was, if that
/// cannot be.
[[nodiscard]] void* keRealloc(void* pointer, long size, const char* file, int line) noexcept;

/// Takes a block back. What is not a block in use is reported and left alone.
void keFree(void* pointer, const char* file, int line) noexcept;

/// Checks the whole pool and tells about it in the trace: 0 for a sound pool.
[[nodiscard]] int KelPoolCheck() noexcept;

/// Asks `handler` what to do where malloc fails: kRetry, kGiveUp, or kReleaseAndRetry, which
/// calls `release` first. Without one the call fails. Null takes it back.
void setFailureHandler(FailureHandler handler, void (*release)() = nullptr) noexcept;

/// What the pool has and had.
[[nodiscard]] PoolStatistics KelPoolStatistics() noexcept;
