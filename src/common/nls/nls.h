#pragma once

/// Message catalogs: texts by number, in the language of the host.
///
/// A catalog is a standard message catalog (catopen), set 1. An entry reads: identifier
/// of four characters and digits, severity letter, one blank, one byte 0x01, and the text
/// of the message, in which each "%s" takes the next insert and "%%" is a percent sign.
/// For severities of labels ("Z", "T", "R", "L") the identifier is left out of the text.

#include <string>
#include <string_view>
#include <vector>

/// Opens the English catalog `directory`/en_US/`file`.
///
/// Returns 0; or 610 after writing "KLM0101E ..." to standard output, when there is none.
[[nodiscard]] int nlSetUp(const std::string& file, const std::string& directory);

/// The text of message `number` with its inserts; empty, after a line "KLM9999E ..." on
/// standard output, for a number that is missing or an entry that is malformed.
[[nodiscard]] std::string nlMessageText(int number,
                                        const std::vector<std::string_view>& inserts);

/// Closes what nlSetUp() opened; harmless if it did not.
void nlClose() noexcept;
