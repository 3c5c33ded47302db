#pragma once

#include <cstdint>
#include <string>

/// Small file helpers of the platform layer. Codes are 0 or an errno value.

/// Where the agent is installed unless it is told otherwise.
[[nodiscard]] std::string getDefaultInstallLoc();

/// The text without a surrounding pair of double quotes; a text of two characters or less
/// is left alone.
[[nodiscard]] std::string stripQuotes(const std::string& text);

/// True if the path, possibly in double quotes, exists.
[[nodiscard]] bool psFileExists(const std::string& path);

[[nodiscard]] int psRemoveFile(const std::string& path);

/// Stores the size in bytes.
[[nodiscard]] int psFileSize(const std::string& path, std::int64_t& size);

[[nodiscard]] bool psIsAbsolutePath(const std::string& path);

/// Makes an empty file below "/tmp" that only this user reads and returns its name; empty
/// if that failed. The caller removes the file.
[[nodiscard]] std::string psGetTempFileName();

/// True if a process of this id exists, a zombie too; with a `matchText` (null for none)
/// only if the text is in what "ps -p" prints of it. Where ps gives no list, within ten
/// seconds and before the job is told to stop, the process counts as running: to take the
/// holder of a lock for dead would be worse.
[[nodiscard]] bool psIsProcessRunning(std::int32_t processId, const char* matchText);

/// Current time, in milliseconds and in seconds since the epoch.
[[nodiscard]] std::int64_t currentMilliseconds();
[[nodiscard]] std::int64_t currentSeconds();
