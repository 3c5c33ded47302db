#pragma once

#include <cstdint>
#include <string>

#include "common/unx/UniqueFd.h"

/// Reads the lines of a file, and goes back to where it has been. The file is opened once.
///
/// Positions are bytes from the start, in 32 bits. One thread.
class LineReader {
public:
    enum class Result { LINE, END, FAILED };

    /// Opens a regular file of at most 2 GiB; a link to one is good. False if that fails.
    [[nodiscard]] bool open(const std::string& path);

    /// The next line without its line feed; the last one may lack it. FAILED, with `errno`, if
    /// the system does not read.
    [[nodiscard]] Result next(std::string& line);

    /// True once the last line has been read and it had no line feed, or nothing was left.
    [[nodiscard]] bool atEnd() const { return end; }

    [[nodiscard]] std::int32_t position() const { return static_cast<std::int32_t>(at); }
    void seek(std::int32_t position);

private:
    [[nodiscard]] bool fill();

    UniqueFd file;
    std::string piece;          // of the file, as read last
    std::uint64_t pieceAt = 0;  // its offset
    std::uint64_t at = 0;       // offset of the next byte
    bool end = false;
};
