#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The text of an errno value, in the process's messages language.
[[nodiscard]] std::string errnoText(int error);

/// "text - errnoText(error)", the form in which system failures are reported.
[[nodiscard]] std::string withErrnoText(std::string_view text, int error);

/// `text` with every control character (bytes below 0x20, and 0x7f) replaced by a blank,
/// so that a name from a disk cannot forge a line of a log.
[[nodiscard]] std::string printable(std::string_view text);

/// A decimal number with "0" on its left up to `width` characters; of a negative number
/// the sign is one of the characters behind the zeros ("00-1").
[[nodiscard]] std::string zeroPadded(long number, std::size_t width);

/// The members with a comma between each two.
[[nodiscard]] std::string joinedWithCommas(const std::vector<std::string>& members);
