#include "Scan/ClauseParser.h"

#include <iterator>
#include <utility>

#include "Scan/PathMask.h"
#include "common/ut/TraceScope.h"

namespace {

/// The names of constructs, by code.
constexpr const char* kConstructs[] = {"",
                                       "& <-",
                                       "& ->",
                                       "| <-",
                                       "| ->",
                                       "!",
                                       "= PERMS",
                                       "& PERMS",
                                       "MATCH USER/GROUP",
                                       "COMPARE USER/GROUP",
                                       "MATCH PATH",
                                       "= TYPE",
                                       "COMPARE TIMESTAMP",
                                       "COMPARE SIZE",
                                       "IN",
                                       "BETWEEN",
                                       "=",
                                       "COMPARE"};

/// The value of a hexadecimal digit, -1 of any other byte.
int digitValue(char byte) {
    static constexpr std::string_view kDigits = "0123456789abcdef";
    const char lower = byte >= 'A' && byte <= 'F' ? static_cast<char>(byte - 'A' + 'a') : byte;
    const std::size_t value = kDigits.find(lower);
    return value == std::string_view::npos ? -1 : static_cast<int>(value);
}

std::uint32_t shiftedLeft(std::uint32_t number, unsigned bits) {
    return bits < 32 ? number << bits : 0;
}

/// A size of so many units of 1024 to the power `scale`, in bytes.
std::uint32_t asBytes(std::uint32_t units, unsigned scale) {
    return shiftedLeft(units, 10 * scale);
}

/// The same in blocks. What is less than a block counts as one, so that "<" and ">=" keep
/// their sense; with the equal sign it counts as none.
std::uint32_t asBlocks(std::uint32_t units, unsigned scale, std::uint32_t flags) {
    constexpr unsigned blockBits = 9;
    if (scale > 0)
        return shiftedLeft(units, 10 * scale - blockBits);
    const bool lost = (units & ((1U << blockBits) - 1)) != 0;
    return (units >> blockBits) + (lost && (flags & COMPARE_OR_EQUAL) == 0 ? 1 : 0);
}

void append16(std::string& bytes, std::size_t number) {
    bytes += static_cast<char>(number & 0xFFU);
    bytes += static_cast<char>((number >> 8U) & 0xFFU);
}

}  // namespace

ClauseParser::Node ClauseParser::parse() {
    TraceScope scope("ClauseParser::parse");
    return expression();
}

ClauseParser::Node ClauseParser::expression() {
    if (nesting == kMaxNesting)
        return fail(NESTED_TOO_DEEP);
    ++nesting;
    Node result = operation();
    --nesting;
    return result;
}

ClauseParser::Node ClauseParser::operation() {
    const std::optional<char> byte = take();
    if (!byte)
        return fail(OPERATOR_MISSING);
    switch (*byte) {
        case '&':
            if (takeIf('P'))
                return bits(node::anyPermission, IN_ANY_PERMISSION);
            return logical(node::both, IN_LEFT_OF_AND, IN_RIGHT_OF_AND);
        case '|':
            return logical(node::either, IN_LEFT_OF_OR, IN_RIGHT_OF_OR);
        case '!':
            return negation();
        case '<':
            return comparison(orEqualIfTaken());
        case '>':  // the negation of "<=", and ">=" that of "<"
            return comparison(COMPARE_INVERTED | (orEqualIfTaken() ^ COMPARE_OR_EQUAL));
        case '=':
            return equality();
        case '(':
            return list();
        case '[':
            return between();
        default:
            --position;
            return fail(OPERATOR_UNKNOWN);
    }
}

ClauseParser::Node ClauseParser::logical(Combine combine, ClauseError inLeft,
                                         ClauseError inRight) {
    Node left = expression();
    if (!left)
        return fail(inLeft);
    Node right = expression();
    if (!right)
        return fail(inRight);
    return combine(std::move(left), std::move(right));
}

ClauseParser::Node ClauseParser::negation() {
    Node operand = expression();
    return operand ? node::negated(std::move(operand)) : fail(IN_NOT);
}

ClauseParser::Node ClauseParser::list() {
    const std::optional<char> letter = take();
    if (!letter)
        return fail(OPERAND_MISSING, IN_LIST);
    Node members;
    for (;;) {
        Node member = equalityOf(*letter);
        if (!member)
            return fail(IN_LIST);
        members =
            members ? node::listed(std::move(members), std::move(member)) : std::move(member);
        if (takeIf(')'))
            return members;
        if (!takeIf(','))
            return fail(LIST_BROKEN, IN_LIST);
    }
}

/// Meant: the first bound of times counts from the start of the walk, whatever its mode.
ClauseParser::Node ClauseParser::between() {
    const std::optional<char> letter = take();
    if (!letter)
        return fail(OPERAND_MISSING, IN_BETWEEN);
    Node low = comparisonOf(*letter, COMPARE_INVERTED | COMPARE_RELATIVE);
    if (!low)
        return fail(IN_BETWEEN);
    Node high = comparisonOf(*letter, 0);
    if (!high)
        return fail(IN_BETWEEN);
    return node::both(std::move(low), std::move(high));
}

ClauseParser::Node ClauseParser::comparison(std::uint32_t flags) {
    const std::optional<char> letter = take();
    return letter ? comparisonOf(*letter, flags) : fail(OPERAND_MISSING, IN_COMPARISON);
}

ClauseParser::Node ClauseParser::comparisonOf(char letter, std::uint32_t flags) {
    switch (letter) {
        case 'A':
            return time(FIELD_ACCESSED, flags);
        case 'M':
            return time(FIELD_MODIFIED, flags);
        case 'C':
            return time(FIELD_CREATED, flags);
        case 'U':
            return name(FIELD_OWNER, flags);
        case 'G':
            return name(FIELD_GROUP, flags);
        case 's':
            return size(FIELD_LENGTH, flags);
        case 'S':
            return size(FIELD_BLOCKS, flags);
        default:
            return fail(LETTER_UNKNOWN, IN_COMPARISON);
    }
}

ClauseParser::Node ClauseParser::time(CompareField field, std::uint32_t flags) {
    if (takeIf('+'))
        flags |= COMPARE_RELATIVE;
    else if (!takeIf('@'))
        return fail(TIME_MODE_UNKNOWN, IN_TIME);
    const std::optional<std::uint32_t> seconds = takeNumber();
    return seconds ? node::compareTime(field, flags, *seconds) : fail(NUMBER_CUT, IN_TIME);
}

/// Meant: digits beyond eight push the first ones out.
ClauseParser::Node ClauseParser::size(CompareField field, std::uint32_t flags) {
    constexpr unsigned maxScale = 4;
    std::uint32_t units = 0;
    const std::size_t start = position;
    for (; position < clause.size() && digitValue(clause[position]) >= 0; ++position)
        units = units << 4U | static_cast<std::uint32_t>(digitValue(clause[position]));
    const bool hasDigits = position > start;
    const std::optional<char> last = take();
    const unsigned scale = last ? static_cast<unsigned char>(*last) : maxScale + 1;
    if (!hasDigits || scale > maxScale)
        return fail(SIZE_BROKEN, IN_SIZE);
    const std::uint32_t limit =
        field == FIELD_LENGTH ? asBytes(units, scale) : asBlocks(units, scale, flags);
    return node::compareNumber(field, flags, limit);
}

ClauseParser::Node ClauseParser::name(CompareField field, std::uint32_t flags) {
    std::optional<std::string> text = takeText();
    return text ? node::compareName(field, flags, std::move(*text))
                : fail(TEXT_UNENDED, IN_NAME);
}

ClauseParser::Node ClauseParser::equality() {
    const std::optional<char> letter = take();
    return letter ? equalityOf(*letter) : fail(OPERAND_MISSING, IN_EQUALITY);
}

ClauseParser::Node ClauseParser::equalityOf(char letter) {
    switch (letter) {
        case 'F':
            return path();
        case 'U':
            return nameMask(true);
        case 'G':
            return nameMask(false);
        case 'P':
            return bits(node::allPermissions, IN_ALL_PERMISSIONS);
        case 'T':
            return bits(node::type, IN_TYPE);
        default:
            return fail(LETTER_UNKNOWN, IN_EQUALITY);
    }
}

ClauseParser::Node ClauseParser::path() {
    const std::optional<std::string> mask = takeText();
    if (!mask)
        return fail(TEXT_UNENDED, IN_PATH);
    std::int32_t form = 0;
    const std::string expression = maskToRegex(*mask, form);
    if (expression.empty())
        return node::always();
    std::unique_ptr<MaskMatcher> matcher = compiled(*mask, expression);
    return matcher ? node::pathMask(std::move(matcher), form, level) : fail(IN_PATH);
}

ClauseParser::Node ClauseParser::nameMask(bool isOwner) {
    const std::optional<std::string> mask = takeText();
    if (!mask)
        return fail(TEXT_UNENDED, IN_NAME_MASK);
    std::int32_t form = 0;
    const std::string expression = maskToRegex(*mask, form);
    if (expression.empty())
        return node::always();
    if (form <= 0)
        return fail(NAME_MASK_HAS_PATH, IN_NAME_MASK);
    std::unique_ptr<MaskMatcher> matcher = compiled(*mask, expression);
    if (!matcher)
        return fail(IN_NAME_MASK);
    return isOwner ? node::ownerMask(std::move(matcher)) : node::groupMask(std::move(matcher));
}

ClauseParser::Node ClauseParser::bits(Node (*make)(std::uint32_t bits), ClauseError construct) {
    const std::optional<std::uint32_t> number = takeNumber();
    return number ? make(*number) : fail(NUMBER_CUT, construct);
}

std::optional<char> ClauseParser::take() {
    if (position == clause.size())
        return std::nullopt;
    return clause[position++];
}

bool ClauseParser::takeIf(char wanted) {
    const bool found = position < clause.size() && clause[position] == wanted;
    position += found ? 1 : 0;
    return found;
}

std::optional<std::uint32_t> ClauseParser::takeNumber() {
    constexpr std::size_t bytes = 4;
    if (clause.size() - position < bytes)
        return std::nullopt;
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < bytes; ++i)
        number = number << 8U | static_cast<unsigned char>(clause[position++]);
    return number;
}

std::optional<std::string> ClauseParser::takeText() {
    const std::size_t end = clause.find('\0', position);
    if (end == std::string_view::npos)
        return std::nullopt;
    const std::size_t start = std::exchange(position, end + 1);
    return std::string(clause.substr(start, end - start));
}

std::uint32_t ClauseParser::orEqualIfTaken() {
    return takeIf('=') ? std::uint32_t{COMPARE_OR_EQUAL} : 0;
}

/// Null if the mask was refused; the reason is then among the errors.
std::unique_ptr<MaskMatcher> ClauseParser::compiled(const std::string& mask,
                                                    const std::string& expression) {
    std::string refusal;
    std::unique_ptr<MaskMatcher> matcher = MaskMatcher::compile(expression, refusal);
    if (!matcher) {
        refusal += ": " + mask;
        errors += refusal;
        append16(errors, refusal.size());
        fail(MASK_REFUSED);
    }
    return matcher;
}

ClauseParser::Node ClauseParser::fail(ClauseError error) {
    append16(errors, position);
    errors += static_cast<char>(error);
    trTrace(naMin, "filter: code %d %s at byte %zu\n", error,
            error < std::size(kConstructs) ? kConstructs[error] : "", position);
    return nullptr;
}

ClauseParser::Node ClauseParser::fail(ClauseError cause, ClauseError construct) {
    fail(cause);
    return fail(construct);
}
