#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The text of an errno value, in the process's messages language.
[[nodiscard]] std::string errnoText(int error);

/// "text - errnoText(error)", the form in which system failures are reported.
[[nodiscard]] std::string withErrnoText(std::string_view text, int error);

/// Replaces the bytes of control characters by blanks, but for those in `kept`, so that a name
/// from a disk can neither end a line of a log nor drive a terminal. Control characters are
/// U+0000 to U+001F, U+007F to U+009F, U+2028 and U+2029 of UTF-8, and bytes 0x80 to 0x9f
/// that belong to no character. All other bytes stay, also those that are no UTF-8: in an
/// older character set they are letters. Two such texts in a row make no control character.
void blankControls(std::span<char> text, std::string_view kept = {}) noexcept;

/// `text` after blankControls().
[[nodiscard]] std::string printable(std::string_view text);

/// A decimal number with "0" on its left up to `width` characters; of a negative number
/// the sign is one of the characters behind the zeros ("00-1").
[[nodiscard]] std::string zeroPadded(long number, std::size_t width);

/// The members with a comma between each two.
[[nodiscard]] std::string joinedWithCommas(const std::vector<std::string>& members);
