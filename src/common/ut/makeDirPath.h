#pragma once

#include <string>

/// Makes a directory with all its missing parents, mode 0755 before the umask. A
/// directory that exists is no failure.
///
/// Returns 0, or -1 with `errno` of the failed call; an empty path is a failure (EINVAL).
[[nodiscard]] int makeDirPath(const std::string& path);
