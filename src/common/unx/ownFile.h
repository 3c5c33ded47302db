#pragma once

#include <sys/types.h>

#include "common/unx/UniqueFd.h"

/// Files that the job opens by name once, and uses through that descriptor from then on.

/// Opens a regular file; none, with `errno` (EINVAL for what is no file), if that fails. A link
/// at the last name is not followed unless `followLink` says so, and a FIFO does not block.
[[nodiscard]] UniqueFd openRegular(const char* path, int flags, bool followLink = false);

/// Opens a file that the job writes, and makes it if `flags` say so. A file of an earlier
/// version loses what `mode` does not allow: those of the job are written by nobody else.
[[nodiscard]] UniqueFd openOwnFile(const char* path, int flags, mode_t mode);

/// True if the open file is still the one of this name.
[[nodiscard]] bool isAtPath(int file, const char* path);
