#pragma once

#include <cstdint>
#include <string>

/// The device of the file system that holds `path`, by the mount table of this process; 0 if
/// it does not tell, as for relative paths.
///
/// Asks no file system, so it does not hang; symbolic links in the path are not seen.
[[nodiscard]] std::uint64_t mountedDevice(const std::string& path);

/// The same from a given table, in the format of /proc/self/mountinfo, see proc(5).
[[nodiscard]] std::uint64_t mountedDevice(const std::string& path, const std::string& table);
