#pragma once

#include <string>

/// Locks by name between the job programs of one agent.

inline constexpr int RESOURCE_SCAN = 2;            // the kind of lock that scans take
inline constexpr int RESOURCE_ALREADY_HELD = 150;  // by this process
inline constexpr int RESOURCE_NOT_HELD = 151;

/// Takes the lock `resource`: 0, or RESOURCE_ALREADY_HELD. The lock is known to this
/// process only: two processes do not exclude each other. Main thread only.
[[nodiscard]] int lockResource(const std::string& resource, int kind,
                               const std::string& installLoc);

/// Gives it back: 0, or RESOURCE_NOT_HELD.
int unlockResource(const std::string& resource, int kind, const std::string& installLoc);
