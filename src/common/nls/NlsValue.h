#pragma once

#include <string_view>
#include <variant>
#include <vector>

/// A value for a place of a message. Texts are not owned and need no closing zero byte.
using NlsValue =
    std::variant<std::string_view, std::wstring_view, int, long, unsigned long, double>;

/// The values of one call, in the order that the English text names them. More than a text
/// has places for do no harm.
using NlsValues = std::vector<NlsValue>;
