#pragma once

#include <pthread.h>

/// The plain lock of the platform layer, not recursive.
///
/// In the phases of a process in which only one thread can exist, locking may be switched
/// off; switch it only while no lock is held.

/// Codes of the foundation that locking gives.
inline constexpr int PS_DEADLOCK = 936;
inline constexpr int PS_LOCK_FAILED = 102;

struct psMutex {
    pthread_mutex_t handle;
};

/// Makes a lock. Without `attributes` it is of the kind that reports a deadlock instead of
/// waiting for itself. Returns 0 or the error.
[[nodiscard]] int psMutexInit(psMutex& mutex, const pthread_mutexattr_t* attributes = nullptr);

/// 0; PS_DEADLOCK if the caller holds the lock; PS_LOCK_FAILED on any other failure.
[[nodiscard]] int psMutexLock(psMutex& mutex);

/// 0, or the error, such as EPERM for a lock of another thread.
[[nodiscard]] int psMutexUnlock(psMutex& mutex);

/// 0, or the error, such as EBUSY for a lock that is held.
[[nodiscard]] int psMutexDestroy(psMutex& mutex);

/// Locks of a process before its second thread starts, and after its last one ended.
void psSetStartPhase(bool singleThreaded) noexcept;
void psSetEndPhase(bool singleThreaded) noexcept;
