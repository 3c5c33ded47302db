#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "common/unx/UniqueFd.h"

/// Files of file systems that may be dead. Each call to the system may take `timeout` seconds,
/// and any time if that is 0; with a time-out a helper thread makes it (see virtstat.h). All
/// return 0 or an errno value, which is ESTALE after a time-out. Scan thread only.

using SharedFile = std::shared_ptr<const UniqueFd>;

/// Opens a file, with the flags of open(2).
[[nodiscard]] int openFileInTime(const std::string& path, int flags, int timeout,
                                 SharedFile& file);

/// Reads at most `size` bytes from where the file stands, less only at its end. `path` is what
/// messages say.
[[nodiscard]] int readFileInTime(const SharedFile& file, const std::string& path,
                                 std::size_t size, int timeout, std::string& bytes);

/// The first directory in an open directory whose name does not begin with "."; empty if there
/// is none.
[[nodiscard]] int firstDirectoryInTime(const SharedFile& directory, const std::string& path,
                                       int timeout, std::string& name);
