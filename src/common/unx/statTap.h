#pragma once

#include <chrono>
#include <cstdint>
#include <sys/time.h>

class StatContext;

/// Taps: single bytes through a pipe, by which the caller of a guarded call and its helper
/// thread hand the work to each other. The byte means nothing.

/// What tryOnTap() does.
inline constexpr int RECEIVING = 0;
inline constexpr int SENDING = 1;

/// Codes of the inner operations.
inline constexpr int VS_CONTINUE = 140;
inline constexpr int VS_TIMEOUT = 964;

/// Moves one byte through `fd`, which does not block: 0; VS_TIMEOUT if that was not possible
/// within `limit`, where 0 waits for ever; -1 with errno after a failure.
///
/// The limit holds on the monotonic clock. A signal does not change it; but a wall clock that
/// was set back, which is looked at only after a signal, ends the wait with VS_TIMEOUT.
///
/// The helper thread passes its context: there the descriptor can be closed meanwhile by the
/// caller, which gives -1 and EBADF. The wait is then the only place to be cancelled.
[[nodiscard]] int tryOnTap(int fd, int opType, std::chrono::nanoseconds limit,
                           StatContext* context = nullptr);

/// VS_CONTINUE while less than so many seconds have passed since `start`, else VS_TIMEOUT;
/// also for a start that lies ahead. Wall clock.
[[nodiscard]] int checkElapsedTime(const timeval& start, long seconds);

/// Nanoseconds on the monotonic clock.
[[nodiscard]] std::int64_t monotonicNanoseconds();
