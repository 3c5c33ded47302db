#include "support/PlainFilter.h"

#include <algorithm>
#include <string_view>

namespace {

using Text = std::string_view;

struct Unreadable {};

/// Takes the set at the start of the mask; true if it holds the byte.
bool takeSet(Text& mask, char byte) {
    mask.remove_prefix(1);
    const bool negated = mask.starts_with('!');
    mask.remove_prefix(negated ? 1 : 0);
    bool found = false;
    for (bool first = true; first || mask[0] != ']'; first = false) {
        const bool range = mask[1] == '-' && mask[2] != ']';
        const auto at = [&mask](std::size_t i) { return static_cast<unsigned char>(mask[i]); };
        const auto wanted = static_cast<unsigned char>(byte);
        found |= range ? at(0) <= wanted && wanted <= at(2) : at(0) == wanted;
        mask.remove_prefix(range ? 3 : 1);
    }
    mask.remove_prefix(1);
    return found != negated && byte != '/';
}

/// Both end in "/"; `start` is true where a component begins.
bool fits(Text mask, Text text, bool start) {
    if (start && mask.starts_with("%/")) {
        const std::size_t slash = text.find('/');
        return mask == "%/" || fits(mask.substr(2), text, true) ||
               (slash != Text::npos && fits(mask, text.substr(slash + 1), true));
    }
    if (mask.starts_with('*') && fits(mask.substr(1), text, false))
        return true;
    if (mask.empty() || text.empty())
        return mask.empty() && text.empty();
    const char byte = text[0];
    text.remove_prefix(1);
    if (mask[0] == '*')
        return byte != '/' && fits(mask, text, false);
    if (mask[0] == '[')
        return takeSet(mask, byte) && fits(mask, text, false);
    if (mask[0] == '?')
        return byte != '/' && fits(mask.substr(1), text, false);
    mask.remove_prefix(mask[0] == '&' ? 1 : 0);
    return mask[0] == byte && fits(mask.substr(1), text, byte == '/');
}

bool fitsAll(const std::string& mask) {
    return mask.empty() || mask == "%" || mask == "/%" || mask == "%/" || mask == "/%/";
}

/// A path mask, or a mask of a name, which stands in the place of the path.
bool maskFits(std::string mask, std::int32_t level, const PlainEntry& entry) {
    std::replace(mask.begin(), mask.end(), '\\', '/');
    if (fitsAll(mask))
        return true;
    mask += mask.ends_with('/') ? "" : "/";
    const std::size_t anyDepth = mask.starts_with("%/") ? 2 : mask.starts_with("/%/") ? 3 : 0;
    if (mask[0] == '/' && anyDepth == 0) {
        const bool isRoot = entry.path.empty();
        return fits(mask, entry.root + entry.path + "/", true) ||
               (isRoot && fits(mask, entry.root, true));
    }
    std::size_t from = 0;
    for (; level > 0 && from != std::string::npos; --level)
        from = entry.path.find('/', from + 1);
    while (from != std::string::npos) {
        const std::size_t start = from + (entry.path[from] == '/' ? 1 : 0);
        if (fits(mask.substr(anyDepth), entry.path.substr(start) + "/", true))
            return true;
        from = anyDepth > 0 ? entry.path.find('/', start) : std::string::npos;
    }
    return false;
}

class Reading {
public:
    Reading(const std::string& text, std::int32_t pathLevel, std::int32_t walkTime,
            const PlainEntry& what)
        : clause(text), level(pathLevel), scanTime(walkTime), entry(what) {}

    bool expression() {
        const char byte = next();
        if (byte == '&' && nextIs('P'))
            return (entry.attributes & number()) != 0;
        if (byte == '!')
            return !expression();
        if (byte == '&' || byte == '|') {
            const bool left = expression();
            const bool right = expression();
            return byte == '&' ? left && right : left || right;
        }
        const bool orEqual = (byte == '<' || byte == '>') && nextIs('=');
        const char letter = next();
        if (byte == '<' || byte == '>')
            return compare(letter, byte == '<', orEqual, false);
        bool answer = byte == '[' ? compare(letter, false, true, true) : equal(letter);
        if (byte == '[')
            return compare(letter, true, false, false) && answer;
        while (byte == '(' && nextIs(','))
            answer = equal(letter) || answer;
        return byte == '=' || (byte == '(' && nextIs(')')) ? answer : throw Unreadable();
    }

private:
    char next() { return at < clause.size() ? clause[at++] : throw Unreadable(); }

    bool nextIs(char wanted) {
        const bool found = at < clause.size() && clause[at] == wanted;
        at += found ? 1 : 0;
        return found;
    }

    std::uint32_t number() {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i)
            value = value * 256 + static_cast<unsigned char>(next());
        return value;
    }

    std::string text() {
        std::string value;
        for (char byte = next(); byte != '\0'; byte = next())
            value += byte;
        return value;
    }

    bool equal(char letter) {
        const std::uint32_t bits = letter == 'P' || letter == 'T' ? number() : 0;
        if (letter == 'P' || letter == 'T')
            return (letter == 'P' ? entry.attributes & bits
                                  : static_cast<std::uint32_t>(entry.type)) == bits;
        const std::string mask =
            letter == 'F' || letter == 'U' || letter == 'G' ? text() : throw Unreadable();
        if (letter == 'F')
            return maskFits(mask, level, entry);
        if (fitsAll(mask))
            return true;
        if (mask.starts_with('/') || mask.starts_with("%/"))
            throw Unreadable();
        PlainEntry name;
        name.path = entry.owner;
        return letter == 'U' && maskFits(mask, 0, name);  // names of groups fit no mask
    }

    bool compare(char letter, bool less, bool orEqual, bool fromWalk) {
        std::int64_t order = 0;
        if (letter == 'A' || letter == 'M' || letter == 'C') {
            const char mode = next();
            if (mode != '@' && mode != '+')
                throw Unreadable();
            const std::int64_t limit = number() + (mode == '+' || fromWalk ? scanTime : 0LL);
            order = in32(letter == 'A' ? entry.accessed : entry.modified) - in32(limit);
            if (letter == 'C')
                return false;
        } else if (letter == 'U' || letter == 'G') {
            order = (letter == 'U' ? entry.owner : entry.group).compare(text());
        } else if (letter == 's' || letter == 'S') {
            // What is less than a block does not reach a limit below one, but fills it.
            const std::int64_t high = (letter == 's' ? entry.size : entry.blocks) >> 32;
            order = high - in32(sizeLimit(letter == 'S' ? 9 : 0, less != orEqual ? 511 : 0));
        } else {
            throw Unreadable();
        }
        return (less ? order < 0 : order > 0) || (orEqual && order == 0);
    }

    std::int64_t sizeLimit(int blockBits, int roundUp) {
        std::uint32_t units = 0;
        const std::size_t start = at;
        for (; at < clause.size() && std::isxdigit(static_cast<unsigned char>(clause[at]));
             ++at)
            units = units * 16 +
                    static_cast<std::uint32_t>(std::stoi(clause.substr(at, 1), nullptr, 16));
        const int scale = at > start ? next() : throw Unreadable();
        if (scale < 0 || scale > 4)
            throw Unreadable();
        if (scale == 0 && blockBits > 0)
            return (std::int64_t{units} + roundUp) / 512;
        return static_cast<std::uint32_t>(
            units * (std::uint64_t{1} << std::max(scale * 10 - blockBits, 0)));
    }

    static std::int64_t in32(std::int64_t value) { return static_cast<std::int32_t>(value); }

    const std::string& clause;
    const std::int32_t level;
    const std::int32_t scanTime;
    const PlainEntry& entry;
    std::size_t at = 0;
};

}  // namespace

std::optional<bool> selectsPlainly(const std::string& clause, std::int32_t level,
                                   std::int32_t scanTime, const PlainEntry& entry) {
    try {
        return clause.empty() || clause == " " ||
               Reading(clause, level, scanTime, entry).expression();
    } catch (const Unreadable&) {
        return std::nullopt;
    }
}
