#include "Scan/PathMask.h"

#include <algorithm>

#include "common/ut/TraceScope.h"

namespace {

constexpr char kEscape = '\\';  // what "&" becomes once backslashes have become slashes
constexpr std::string_view kSpecial = "*.[]^$";  // special in an expression

bool isAbsolute(std::string_view mask) {
    return mask.starts_with('/');
}

/// Translates a mask whose escapes are backslashes and which ends in "/".
class Translator {
public:
    Translator(std::string_view text, std::string& result) : mask(text), expression(result) {}

    /// Appends the expression of all components, without the last one's "/".
    void translate() {
        bool below = false;
        while (position < mask.size()) {
            below = false;
            if (mask.substr(position, 2) == "%/") {
                position += 2;
                components = -1;
                below = position == mask.size();
                if (!below)
                    expression += kAnyComponents;
            } else {
                component();
                if (components >= 0)
                    ++components;
            }
        }
        // Meant: of a set without an end its last member goes, but never its bracket: what it
        // is refused for stays.
        if (expression.size() > 1 && !expression.ends_with('['))
            expression.pop_back();
        if (below)
            expression += kAnythingBelow;
    }

    /// Components of the mask; -1 if a "%/" is among them.
    std::int32_t components = 0;

private:
    /// A component up to and including its "/", or the end of the mask in a set.
    void component() {
        while (position < mask.size()) {
            const char byte = mask[position];
            if (byte == '[') {
                set();
                continue;
            }
            ++position;
            if (byte == '/') {
                expression += byte;
                return;
            }
            if (byte == kEscape) {
                char escaped = mask[position++];  // the mask ends in "/"
                if (escaped == kEscape)
                    escaped = '&';  // no backslash of the mask is left
                if (kSpecial.find(escaped) != std::string_view::npos)
                    expression += kEscape;
                expression += escaped;
                if (escaped == '/')
                    return;
            } else if (byte == '*' || byte == '?') {
                expression += kComponentByte;
                if (byte == '*')
                    expression += '*';
            } else {
                if (byte == '.' || byte == '$' || byte == '^')
                    expression += kEscape;
                expression += byte;
            }
        }
    }

    /// A member of a set, or one end of a range: a byte, or an escape with its byte.
    struct Member {
        std::string_view text;
        [[nodiscard]] char byte() const { return text.back(); }
    };

    [[nodiscard]] Member memberAt(std::size_t place) const {
        return {mask.substr(place, mask[place] == kEscape ? 2 : 1)};
    }

    /// A set up to and including its "]", or to the end of the mask.
    ///
    /// Meant: escapes go over as they stand although a set of an expression knows none,
    /// "[^a]" counts as positive, and the "/" that closes a negated set may end a range.
    void set() {
        expression += mask[position++];
        const bool negated = mask.substr(position, 1) == "!";
        bool excludesSlash = false;  // a negated set that names "/" itself
        if (negated) {
            expression += '^';
            ++position;
        }
        for (bool first = true; position < mask.size(); first = false) {
            const Member low = memberAt(position);
            if (low.text == "]" && !first) {
                ++position;
                expression += negated && !excludesSlash ? "/]" : "]";
                return;
            }
            position += low.text.size();
            if (!isRange()) {
                excludesSlash |= low.byte() == '/';
                if (negated || low.byte() != '/')
                    expression += low.text;
                continue;
            }
            const Member high = memberAt(position + 1);
            position += 1 + high.text.size();
            const bool spans = low.byte() <= '/' && high.byte() >= '/';
            excludesSlash |= spans;
            if (spans && !negated)
                splitRange(low, high);
            else
                expression.append(low.text).append("-").append(high.text);
        }
    }

    /// True if a "-" with a second end stands here.
    [[nodiscard]] bool isRange() const {
        return position + 1 < mask.size() && mask[position] == '-' && mask[position + 1] != ']';
    }

    /// A range around "/" as two: up to "." and from "0" on.
    void splitRange(const Member& low, const Member& high) {
        if (low.byte() != '/')
            expression += low.text;
        if (low.byte() < '.')
            expression += "-.";
        if (high.byte() > '0')
            expression.append("0-");
        if (high.byte() != '/')
            expression += high.text;
    }

    const std::string_view mask;
    std::string& expression;
    std::size_t position = 0;
};

}  // namespace

std::string maskToRegex(std::string mask, std::int32_t& form) {
    TraceScope scope("maskToRegex");
    form = 0;
    std::replace(mask.begin(), mask.end(), '\\', '/');
    std::replace(mask.begin(), mask.end(), '&', kEscape);
    if (mask == "%" || mask == "/%")
        return {};
    bool anyDepth = false;
    for (const std::string_view start : {"%/", "/%/"}) {
        if (!anyDepth && mask.starts_with(start)) {
            mask.erase(0, start.size());
            anyDepth = true;
        }
    }
    if (mask.empty())
        return {};

    form = !anyDepth && isAbsolute(mask) ? 0 : 1;
    if (!mask.ends_with('/'))
        mask += '/';
    std::string expression = "^";
    Translator translator(mask, expression);
    translator.translate();
    expression += '$';
    if (anyDepth && translator.components < 1)
        expression.insert(1, kAnyComponents);
    else if (anyDepth)
        form = -translator.components;
    return expression;
}
