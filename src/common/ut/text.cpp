#include "common/ut/text.h"

#include <algorithm>
#include <iterator>
#include <system_error>

namespace {

constexpr char32_t kLineSeparator = 0x2028;
constexpr char32_t kParagraphSeparator = 0x2029;
constexpr char32_t kLastCharacter = 0x10ffff;

/// A character of UTF-8, or a byte that belongs to none, by its own number.
struct Character {
    char32_t code;
    std::size_t length;  // bytes
};

/// The first character of a text that is not empty.
Character firstCharacter(std::string_view text) noexcept {
    struct Form {
        unsigned char mask;  // of the bits that tell the form
        unsigned char mark;  // what these bits are
        std::size_t length;
        char32_t least;  // what is below it has a shorter form
    };
    static constexpr Form kForms[] = {
        {0xe0, 0xc0, 2, 0x80   },
        {0xf0, 0xe0, 3, 0x800  },
        {0xf8, 0xf0, 4, 0x10000},
    };
    const auto first = static_cast<unsigned char>(text.front());
    const Character alone = {first, 1};
    const Form* const form =
        std::find_if(std::begin(kForms), std::end(kForms),
                     [first](const Form& each) { return (first & each.mask) == each.mark; });
    if (form == std::end(kForms) || text.size() < form->length)
        return alone;
    char32_t code = first & (0xffU ^ form->mask);
    for (const char next : text.substr(1, form->length - 1)) {
        const auto byte = static_cast<unsigned char>(next);
        if ((byte & 0xc0U) != 0x80U)
            return alone;
        code = code << 6U | (byte & 0x3fU);
    }
    const bool surrogate = code >= 0xd800 && code <= 0xdfff;
    if (code < form->least || code > kLastCharacter || surrogate)
        return alone;
    return {code, form->length};
}

}  // namespace

std::string errnoText(int error) {
    return std::generic_category().message(error);
}

std::string withErrnoText(std::string_view text, int error) {
    return std::string(text) + " - " + errnoText(error);
}

void blankControls(std::span<char> text, std::string_view kept) noexcept {
    while (!text.empty()) {
        const Character character = firstCharacter({text.data(), text.size()});
        const char32_t code = character.code;
        const bool control = code < 0x20 || (code >= 0x7f && code <= 0x9f) ||
                             code == kLineSeparator || code == kParagraphSeparator;
        if (control && kept.find(text.front()) == std::string_view::npos)
            std::fill_n(text.begin(), character.length, ' ');
        text = text.subspan(character.length);
    }
}

std::string printable(std::string_view text) {
    std::string result(text);
    blankControls(result);
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
