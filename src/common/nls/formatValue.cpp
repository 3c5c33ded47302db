#include "common/nls/formatValue.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cwchar>

namespace {

constexpr std::size_t kMaxWidth = 4860;  // of a field, characters

/// A conversion of a format, taken apart.
struct Conversion {
    std::string flags;
    std::size_t width = 0;
    std::size_t precision = 0;
    bool hasPrecision = false;
    bool wide = false;
    char letter = '\0';
};

const int* nextInt(const NlsValues& values, std::size_t& next) {
    return next < values.size() ? std::get_if<int>(&values[next++]) : nullptr;
}

/// A number of the format, or the next value for a "*".
bool takeNumber(std::string_view& rest, const NlsValues& values, std::size_t& next,
                std::size_t& number, bool& negative) {
    number = 0;
    negative = false;
    if (rest.starts_with('*')) {
        rest.remove_prefix(1);
        const int* const value = nextInt(values, next);
        if (!value)
            return false;
        negative = *value < 0;
        number = static_cast<std::size_t>(std::abs(static_cast<long>(*value)));
    }
    while (!rest.empty() && std::isdigit(static_cast<unsigned char>(rest.front())) != 0) {
        number =
            std::min(number * 10 + static_cast<std::size_t>(rest.front() - '0'), kMaxWidth);
        rest.remove_prefix(1);
    }
    number = std::min(number, kMaxWidth);
    return true;
}

/// Takes a conversion from the front of `rest`, which stands behind the "%".
bool takeConversion(std::string_view& rest, const NlsValues& values, std::size_t& next,
                    Conversion& conversion) {
    while (!rest.empty() && std::string_view("-+ #0").find(rest.front()) != rest.npos) {
        conversion.flags += rest.front();
        rest.remove_prefix(1);
    }
    bool negative = false;
    if (!takeNumber(rest, values, next, conversion.width, negative))
        return false;
    if (negative)
        conversion.flags += '-';
    if (rest.starts_with('.')) {
        rest.remove_prefix(1);
        if (!takeNumber(rest, values, next, conversion.precision, negative))
            return false;
        conversion.hasPrecision = !negative;
    }
    while (!rest.empty() && std::string_view("hljzt").find(rest.front()) != rest.npos) {
        conversion.wide = rest.front() == 'l';
        rest.remove_prefix(1);
    }
    if (rest.empty())
        return false;
    conversion.letter = rest.front();
    rest.remove_prefix(1);
    return true;
}

/// Bytes of a wide text; what the locale has no bytes for becomes "_".
std::string narrow(std::wstring_view wide) {
    std::string text;
    std::mbstate_t state{};
    std::array<char, MB_LEN_MAX> bytes{};
    for (const wchar_t character : wide) {
        const std::size_t count = std::wcrtomb(bytes.data(), character, &state);
        if (count == static_cast<std::size_t>(-1)) {
            state = {};
            text += '_';
        } else {
            text.append(bytes.data(), count);
        }
    }
    return text;
}

std::string formattedText(const Conversion& conversion, std::string_view value) {
    std::string text(value.substr(
        0, conversion.hasPrecision ? conversion.precision : std::string_view::npos));
    const std::size_t fill = conversion.width - std::min(conversion.width, text.size());
    if (conversion.flags.find('-') != std::string::npos)
        return text.append(fill, ' ');
    return text.insert(0, fill, ' ');
}

template <typename Number>
std::string formattedNumber(const Conversion& conversion, const char* length, Number value) {
    const std::string format = "%" + conversion.flags + "*.*" + length + conversion.letter;
    const int precision = conversion.hasPrecision ? static_cast<int>(conversion.precision) : -1;
    const int width = static_cast<int>(conversion.width);
    std::string text(2 * kMaxWidth, '\0');
    // The letter was checked against the type, and the format has these two stars only.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int count =
        std::snprintf(text.data(), text.size(), format.c_str(), width, precision, value);
#pragma GCC diagnostic pop
    text.resize(std::min(text.size() - 1, static_cast<std::size_t>(std::max(count, 0))));
    return text;
}

/// One value by its conversion; false if they do not fit.
bool formatOne(const Conversion& conversion, const NlsValue& value, std::string& text) {
    const auto is = [&](std::string_view letters) {
        return letters.find(conversion.letter) != letters.npos;
    };
    if (const auto* narrowText = std::get_if<std::string_view>(&value)) {
        text = formattedText(conversion, *narrowText);
        return is("s") && !conversion.wide;
    }
    if (const auto* wideText = std::get_if<std::wstring_view>(&value)) {
        text = formattedText(conversion, narrow(*wideText));
        return is("s") && conversion.wide;
    }
    if (const auto* real = std::get_if<double>(&value)) {
        if (is("eEfFgGaA"))
            text = formattedNumber(conversion, "", *real);
        return is("eEfFgGaA");
    }
    if (!is("diouxXc"))
        return false;
    if (const auto* integer = std::get_if<int>(&value))
        text = formattedNumber(conversion, "", *integer);
    else if (const auto* longInteger = std::get_if<long>(&value))
        text = formattedNumber(conversion, "l", *longInteger);
    else
        text = formattedNumber(conversion, "l", std::get<unsigned long>(value));
    return !is("c") || std::holds_alternative<int>(value);
}

}  // namespace

bool formatValues(std::string_view format, const NlsValues& values, std::size_t& next,
                  std::size_t most, std::string& text) {
    const std::size_t end = text.size() + most;
    while (!format.empty()) {
        const std::size_t percent = std::min(format.find('%'), format.size());
        text += format.substr(0, percent);
        format.remove_prefix(percent);
        if (format.starts_with("%%")) {
            text += '%';
            format.remove_prefix(2);
        } else if (!format.empty()) {
            format.remove_prefix(1);
            Conversion conversion;
            std::string value;
            if (!takeConversion(format, values, next, conversion) || next >= values.size() ||
                !formatOne(conversion, values[next++], value))
                return false;
            text += value;
        }
        if (text.size() > end)
            text.resize(end);
    }
    return true;
}
