#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// A compiled mask. Gives, for every text, the answer that POSIX `regexec` gives for the
/// expression in the locale "C", but without its allocations and locks:
///
///     std::unique_ptr<MaskMatcher> matcher = MaskMatcher::compile(expression, refusal);
///     if (matcher && matcher->matches(path)) ...
///
/// The expression is a sequence of pieces without alternatives. A match goes through them
/// once, with the set of places in the text that the pieces so far can lead to. That set
/// is mostly a single place, and at worst a match costs the length of the text for each
/// piece. No text takes longer, and none allocates once the longest has been seen.
///
/// Scan thread only: a match uses working memory of the object.
class MaskMatcher {
public:
    /// Compiles an expression that maskToRegex() made. Null with the reason in `refusal`
    /// if `regcomp` refuses it, or if it uses an operator that no mask has: an escaped "]"
    /// in a set can let one through.
    [[nodiscard]] static std::unique_ptr<MaskMatcher> compile(const std::string& expression,
                                                              std::string& refusal);

    [[nodiscard]] bool matches(std::string_view text) const;

    /// The bytes that an atom of an expression accepts.
    using ByteSet = std::array<bool, 256>;

private:
    class Reader;  // turns the text of an expression into pieces

    enum class PieceKind : std::uint8_t {
        TEXT,        // exactly this text
        SET,         // one byte of a set
        RUN,         // any number of bytes of a set
        COMPONENTS,  // any number of whole components, each with its "/"
        BELOW,       // nothing, or "/" and anything; the last piece
    };
    struct Piece {
        PieceKind kind;
        std::uint32_t index;  // in texts or sets
    };
    using Places = std::vector<std::uint32_t>;  // ascending

    void filterByText(std::string_view text, const std::string& wanted) const;
    void filterBySet(std::string_view text, const ByteSet& set) const;
    void run(std::string_view text, const ByteSet& set) const;
    void runToText(std::string_view text, const ByteSet& set, const std::string& wanted) const;
    [[nodiscard]] bool runsToEnd(std::string_view text, const ByteSet& set) const;
    void components(std::string_view text) const;
    void below(std::string_view text) const;

    std::vector<Piece> pieces;
    std::vector<std::string> texts;
    std::vector<ByteSet> sets;
    mutable Places reached;  // by the pieces so far
    mutable Places scratch;
};
