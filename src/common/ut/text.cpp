#include "common/ut/text.h"

#include <algorithm>
#include <system_error>

std::string errnoText(int error) {
    return std::generic_category().message(error);
}

std::string withErrnoText(std::string_view text, int error) {
    return std::string(text) + " - " + errnoText(error);
}

std::string printable(std::string_view text) {
    std::string result(text);
    std::replace_if(
        result.begin(), result.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, ' ');
    return result;
}

std::string zeroPadded(long number, std::size_t width) {
    std::string digits = std::to_string(number);
    if (digits.size() < width)
        digits.insert(0, width - digits.size(), '0');
    return digits;
}

std::string joinedWithCommas(const std::vector<std::string>& members) {
    std::string text;
    for (const std::string& member : members) {
        if (&member != &members.front())
            text += ',';
        text += member;
    }
    return text;
}
