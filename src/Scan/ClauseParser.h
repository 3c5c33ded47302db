#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Scan/SelectNode.h"

/// What went wrong in a clause: first the constructs in which it did, from the inside
/// out, where an arrow means the left or the right operand.
enum ClauseError : std::uint8_t {
    IN_LEFT_OF_AND = 1,
    IN_RIGHT_OF_AND = 2,
    IN_LEFT_OF_OR = 3,
    IN_RIGHT_OF_OR = 4,
    IN_NOT = 5,
    IN_ALL_PERMISSIONS = 6,
    IN_ANY_PERMISSION = 7,
    IN_NAME_MASK = 8,
    IN_NAME = 9,
    IN_PATH = 10,
    IN_TYPE = 11,
    IN_TIME = 12,
    IN_SIZE = 13,
    IN_LIST = 14,
    IN_BETWEEN = 15,
    IN_EQUALITY = 16,
    IN_COMPARISON = 17,

    OPERATOR_MISSING = 64,  // at the end of the clause
    OPERATOR_UNKNOWN = 65,
    MASK_REFUSED = 66,
    LETTER_UNKNOWN = 67,
    TIME_MODE_UNKNOWN = 68,
    NUMBER_CUT = 69,
    TEXT_UNENDED = 70,
    NAME_MASK_HAS_PATH = 72,
    SIZE_BROKEN = 73,
    OPERAND_MISSING = 74,  // at the end of the clause
    LIST_BROKEN = 75,
    NESTED_TOO_DEEP = 76,  // this parser's own limit
};

/// Reads a clause, a program in prefix notation, into a tree of nodes:
///
///     expression = "&" expression expression | "|" expression expression
///                | "!" expression
///                | "&P" bits                             any of the permissions
///                | "=" equality
///                | ("<" | "<=" | ">" | ">=") comparison
///                | "(" equality {"," equality without its letter} ")"
///                | "[" comparison comparison without its letter
///     equality   = "F" mask | "U" mask | "G" mask        path, owner, group
///                | "P" bits | "T" type                   all of the permissions
///     comparison = ("A" | "M" | "C") ("@" | "+") seconds    absolute or from the walk's start
///                | ("U" | "G") name
///                | ("s" | "S") hexadecimal-digits scale     bytes or blocks
///
/// Bits, type and seconds are four bytes, high byte first; masks and names end in a zero
/// byte; a scale is a byte of 0 to 4, a unit of 1024 to that power. Bytes behind a complete
/// expression are ignored. Lists may be of any length; nothing else nests deeper than
/// kMaxNesting, so that neither reading nor running a filter exhausts the stack.
class ClauseParser {
public:
    static constexpr int kMaxNesting = 500;

    /// `text` and `errorRecords` must outlive the object. `pathLevel` goes to path tests.
    ClauseParser(std::string_view text, std::int32_t pathLevel, std::string& errorRecords)
        : clause(text), level(pathLevel), errors(errorRecords) {}

    /// The tree, or null with what went wrong appended to the error records: three bytes
    /// each, low and high byte of the position and a ClauseError.
    [[nodiscard]] SelectNode::Operand parse();

private:
    using Node = SelectNode::Operand;
    using Combine = Node (*)(Node left, Node right);

    Node expression();
    Node operation();
    Node logical(Combine combine, ClauseError inLeft, ClauseError inRight);
    Node negation();
    Node list();
    Node between();
    Node comparison(std::uint32_t flags);
    Node comparisonOf(char letter, std::uint32_t flags);
    Node time(CompareField field, std::uint32_t flags);
    Node size(CompareField field, std::uint32_t flags);
    Node name(CompareField field, std::uint32_t flags);
    Node equality();
    Node equalityOf(char letter);
    Node path();
    Node nameMask(bool isOwner);
    Node bits(Node (*make)(std::uint32_t bits), ClauseError construct);

    [[nodiscard]] std::optional<char> take();
    [[nodiscard]] bool takeIf(char wanted);
    [[nodiscard]] std::optional<std::uint32_t> takeNumber();
    [[nodiscard]] std::optional<std::string> takeText();
    [[nodiscard]] std::uint32_t orEqualIfTaken();
    [[nodiscard]] std::unique_ptr<MaskMatcher> compiled(const std::string& mask,
                                                        const std::string& expression);
    Node fail(ClauseError error);
    Node fail(ClauseError cause, ClauseError construct);

    const std::string_view clause;
    const std::int32_t level;
    std::string& errors;
    std::size_t position = 0;
    int nesting = 0;
};
