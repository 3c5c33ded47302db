#pragma once

#include <cstdint>
#include <string>

#include "common/unx/UniqueFd.h"

/// A lock between processes, on a file of its own that exists only while it is held:
///
///     Filelock lock(path);
///     if (lock.lockFile() == 0) {
///         ...
///         lock.unlockFile();  // or the destructor
///     }
///
/// The system gives the lock back when the process ends, however it ends; the file it
/// leaves then is taken over by the next process. The lock belongs to the process: threads
/// of one process do not exclude each other. Main thread.
class Filelock {
public:
    enum Code : int {
        SUCCESS = 0,
        LOCKED = 14,  // by another process
        LOCK_FAILED = 15,
        UNLOCK_FAILED = 16,
        WRITE_FAILED = 18,
    };

    explicit Filelock(std::string lockPath);
    ~Filelock();  // gives the lock back if it is held
    Filelock(const Filelock&) = delete;
    Filelock& operator=(const Filelock&) = delete;

    /// Takes the lock without waiting: SUCCESS, LOCKED or LOCK_FAILED.
    [[nodiscard]] int lockFile();

    /// Removes the file and gives the lock back: SUCCESS or UNLOCK_FAILED.
    int unlockFile();

    /// Replaces the content by this process's id, and a blank and `data` if that is not
    /// empty; SUCCESS, or WRITE_FAILED, also if the lock is not held.
    [[nodiscard]] int writeProcessId(const std::string& data) const;

    /// True if another process holds the lock.
    [[nodiscard]] bool isLocked() const;

    /// The process id in the file, 0 if there is none, and what stands behind it.
    [[nodiscard]] std::int32_t readProcessId(std::string& data) const;

private:
    [[nodiscard]] int openAndLock();

    const std::string path;
    UniqueFd fd;  // holds the lock; none while it is not held
};
