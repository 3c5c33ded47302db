#pragma once

#include <memory>
#include <string>

#include "Common/unix/Filelock.h"

/// Locks by name between the job programs of one agent.
///
/// A lock is an entry of a resource file (see ResourceFile) with the process that holds it.
/// A holder that died leaves its entry behind, and the next process that wants the same
/// resource takes it over; so nobody has to clean up. Files lie below `installLoc`, in
/// "log". Main thread only.

inline constexpr int RESOURCE_SCAN = 2;       // the kind of lock that scans take
inline constexpr int RESOURCE_DBMONITOR = 6;  // of another job program

inline constexpr int RESOURCE_FAILED = -1;         // a file could not be had or changed
inline constexpr int RESOURCE_ALREADY_HELD = 150;  // by this process
inline constexpr int RESOURCE_NOT_HELD = 151;
inline constexpr int RESOURCE_LOCKED = 152;  // by another process that runs

/// Takes the lock `resource`: 0, RESOURCE_ALREADY_HELD, RESOURCE_LOCKED or
/// RESOURCE_FAILED. Waits up to three minutes for other processes that change the file,
/// never for the resource; a stop signal cuts the wait short.
[[nodiscard]] int lockResource(const std::string& resource, int kind,
                               const std::string& installLoc);

/// Gives it back: 0, RESOURCE_NOT_HELD, RESOURCE_LOCKED or RESOURCE_FAILED.
int unlockResource(const std::string& resource, int kind, const std::string& installLoc);

/// The resource file of a kind.
[[nodiscard]] std::string getResourceFileName(int kind, const std::string& installLoc);

/// The right to work on the resource file; null if it could not be had.
[[nodiscard]] std::unique_ptr<Filelock> createResourceLockFile(int kind,
                                                               const std::string& installLoc);

/// Gives that right back: 0, or -1 for a null pointer.
int deleteResourceLockFile(std::unique_ptr<Filelock> lock);
