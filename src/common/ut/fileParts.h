#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Reading and writing pieces of a file at given offsets. Bytes throughout; on failure
/// `errno` is that of the system call.

/// Writes all of `text`.
[[nodiscard]] bool writeFileAt(int fd, std::uint64_t offset, std::string_view text);

/// Up to `most` bytes from `offset`; fewer at the end of the file. False on failure.
[[nodiscard]] bool readFileAt(int fd, std::uint64_t offset, std::size_t most,
                              std::string& text);

/// Copies [from, end) of one file to `place` of another. An end beyond that of the file is
/// its end.
[[nodiscard]] bool copyFilePart(int source, std::uint64_t from, std::uint64_t end, int target,
                                std::uint64_t place);

/// The offset behind the first line end at or behind `from`, or `end` if there is none.
[[nodiscard]] std::uint64_t behindLine(int fd, std::uint64_t from, std::uint64_t end);

/// A number as a header holds it: left aligned, filled with blanks.
[[nodiscard]] std::string headerField(std::uint64_t number, std::size_t width);
