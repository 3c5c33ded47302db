#pragma once

#include <string>

/// The tag lines of entity files. The only user of the regular expression library, whose
/// expressions are compiled once.

/// True for "[Name]" or "[Name,Sub]"; the text between the brackets goes to `name`.
[[nodiscard]] bool isOpenTag(const std::string& line, std::string* name = nullptr);

/// True for "[/Name]".
[[nodiscard]] bool isCloseTag(const std::string& line);
