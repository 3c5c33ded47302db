#include "Common/TagExpression.h"

#include <new>

#include <pcrecpp.h>

namespace {

// The library backtracks in the square of a name's length; no line beyond this is a tag.
constexpr std::size_t kMaxTagLine = 1024;

bool mayBeTag(const std::string& line) {
    return line.size() <= kMaxTagLine && !line.empty() && line.back() == ']';
}

/// Whether a line matches. An expression for which there was no memory would match nothing, and
/// the definition would be empty.
template <class... Parts>
bool matches(const pcrecpp::RE& expression, const std::string& line, Parts... parts) {
    if (!expression.error().empty())
        throw std::bad_alloc();
    return expression.FullMatch(line, parts...);
}

}  // namespace

bool isOpenTag(const std::string& line, std::string* name) {
    static const pcrecpp::RE expression(R"((^\s*\[){1}([a-zA-Z0-9]+,?[a-zA-Z0-9]+)(\]$){1})");
    if (!mayBeTag(line))
        return false;

    std::string bracket;
    std::string text;
    if (!matches(expression, line, &bracket, &text))
        return false;
    if (name)
        *name = text;
    return true;
}

bool isCloseTag(const std::string& line) {
    static const pcrecpp::RE expression(R"((^\s*\[/){1}([a-zA-Z0-9]+)(\]$){1})");
    return mayBeTag(line) && matches(expression, line);
}
