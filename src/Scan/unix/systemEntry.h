#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include "Scan/unix/EntryStat.h"

/// How a walk asks the system for directories and attributes, whoever makes the calls.

/// For openat(); O_NOATIME besides, where the caller may.
inline constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;

/// For statx(): of a link its own attributes, of the directory itself those for "".
/// AT_EMPTY_PATH only for that: with it the kernel looks at each name twice.
constexpr int attributeFlags(const char* name) {
    return AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | (*name == '\0' ? AT_EMPTY_PATH : 0);
}
inline constexpr unsigned kAttributeMask = STATX_BASIC_STATS | STATX_MNT_ID;

[[nodiscard]] EntryStat entryStatOf(const struct statx& status);

/// Of a kernel that tells no mounts.
[[nodiscard]] EntryStat entryStatOf(const struct stat& status);
