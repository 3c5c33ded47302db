#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "common/nls/NlsValue.h"

/// Appends `format` to `text`, each conversion of printf with the next of `values` from
/// `next` on. Conversions are s, ls, c, d, i, o, u, x, X, e, E, f, F, g, G, a, A and %%,
/// with flags, width, precision and "*"; whatever length they name, the value's own type
/// counts. What the format makes is cut at `most` bytes.
///
/// False if the format asks for a value that is missing or of another kind, or is none: a
/// damaged catalog cannot make the program read what is not there.
[[nodiscard]] bool formatValues(std::string_view format, const NlsValues& values,
                                std::size_t& next, std::size_t most, std::string& text);
