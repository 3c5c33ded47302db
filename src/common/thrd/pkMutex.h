#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "common/thrd/psMutex.h"
#include "common/thrd/psThread.h"

/// The recursive lock: its holder may take it again, and gives it back as often.
///
/// Operations return 0 or the error. Any thread.
struct pkMutex {
    psMutex mutex;
    std::atomic<psThreadId> owner;  // 0 for none; read without the lock
    std::uint32_t count;            // times the owner holds it
};

/// A new lock, owned by the caller until pkDestroyMutex(); null if there is none to be had.
[[nodiscard]] pkMutex* pkCreateMutex();

/// Takes `handle` back; null is a success. A lock that is held stays.
[[nodiscard]] int pkDestroyMutex(pkMutex* handle);

[[nodiscard]] int pkAcquireMutex(pkMutex* handle);

/// A release by a thread that does not hold the lock changes nothing and returns 0.
[[nodiscard]] int pkReleaseMutex(pkMutex* handle);

/// For short sections that call nothing: no owner is recorded, so that they do not nest.
[[nodiscard]] int pkAcquireMutexPlain(pkMutex* handle);
[[nodiscard]] int pkReleaseMutexPlain(pkMutex* handle);

/// Owns a lock.
struct pkMutexDeleter {
    void operator()(pkMutex* handle) const noexcept {
        static_cast<void>(pkDestroyMutex(handle));
    }
};
using pkMutexOwner = std::unique_ptr<pkMutex, pkMutexDeleter>;

/// Holds a lock while it lives; ask held() whether it could be had.
class pkMutexHolder {
public:
    explicit pkMutexHolder(pkMutex* handle) noexcept
        : mutex(handle && pkAcquireMutex(handle) == 0 ? handle : nullptr) {}
    ~pkMutexHolder() { static_cast<void>(release()); }
    pkMutexHolder(const pkMutexHolder&) = delete;
    pkMutexHolder& operator=(const pkMutexHolder&) = delete;

    [[nodiscard]] bool held() const noexcept { return mutex != nullptr; }

    /// Gives the lock back now: 0 or the error of pkReleaseMutex().
    [[nodiscard]] int release() noexcept {
        pkMutex* const handle = mutex;
        mutex = nullptr;
        return handle ? pkReleaseMutex(handle) : 0;
    }

private:
    pkMutex* mutex;  // not owned; null while not held
};
