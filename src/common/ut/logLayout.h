#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Where things stand in the file of a log; see LogRecord.h.

inline constexpr std::uint64_t kLogNextOffset = 13;
inline constexpr std::size_t kLogNextWidth = 12;
inline constexpr std::uint64_t kLogSizeOffset = 25;
inline constexpr std::size_t kLogSizeWidth = 10;
inline constexpr std::size_t kLogMarksReserve = 2;  // bytes kept free besides both marks

/// The header of a wrapping log.
struct LogHeader {
    std::uint32_t nextWrite = 0;
    std::uint32_t maxWrap = 0;
    std::uint32_t length = 0;  // of the first line, with its line end
};

/// The header of a new log, with both line ends.
[[nodiscard]] std::string logHeader(std::uint32_t maxWrap);

/// Reads a header from the beginning of a file; false if there is none.
[[nodiscard]] bool readLogHeader(std::string_view start, LogHeader& header);

/// Where the wrap mark stands that ends a wrapping log of this size; the size if it was
/// never full.
[[nodiscard]] std::uint64_t logWrapMarkOffset(int fd, std::string_view mark,
                                              std::uint64_t size);

/// Days since the date "YYYY-MM-DD" that the line begins with, by the calendar, up to
/// today in local time; false if it begins with no valid date.
[[nodiscard]] bool daysSince(std::string_view line, long& days);
