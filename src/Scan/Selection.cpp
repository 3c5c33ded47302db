#include "Scan/Selection.h"

#include <algorithm>
#include <string_view>

#include "Scan/ClauseParser.h"
#include "common/ut/TraceScope.h"

namespace {

/// The masks of a list that are for this system: not those with backslashes, unless they
/// begin with "%/" and so mean any system.
std::string localMasks(std::string_view masks) {
    std::string kept;
    bool any = false;
    for (std::size_t start = 0; start <= masks.size();) {
        const std::size_t end = std::min(masks.find(',', start), masks.size());
        const std::string_view token = masks.substr(start, end - start);
        start = end + 1;
        const bool append =
            token.find('\\') == std::string_view::npos || token.starts_with("%/");
        trTrace(naMid, "token = %s", std::string(token).c_str());
        trTrace(naMid, "append token = %s", append ? "true" : "false");
        if (!append)
            continue;
        if (any)
            kept += ',';
        kept += token;
        any = true;
    }
    return kept;
}

/// The clause without the masks of other systems in its lists of paths.
///
/// Meant: lists are found by their first two bytes and the next ")" wherever these stand,
/// be it in a number or in a name.
std::string withoutForeignPaths(const std::string& clause) {
    static constexpr std::string_view kListOfPaths = "(F";
    std::string result;
    std::size_t done = 0;
    for (;;) {
        const std::size_t list = clause.find(kListOfPaths, done);
        const std::size_t start = list + kListOfPaths.size();
        const std::size_t end =
            list == std::string::npos ? std::string::npos : clause.find(')', start);
        if (end == std::string::npos)
            break;
        const std::string kept =
            localMasks(std::string_view(clause).substr(start, end - start));
        if (kept.empty())
            trTrace(naMid, "FilterOutOtherOSPath: Filter is empty");
        result.append(clause, done, start - done).append(kept);
        done = end;
    }
    return result.append(clause, done);
}

/// Traces bytes, 16 a line.
void traceDump(const char* name, const std::string& bytes) {
    constexpr std::size_t bytesPerLine = 16;
    static constexpr char kDigits[] = "0123456789abcdef";
    for (std::size_t start = 0; start < bytes.size(); start += bytesPerLine) {
        std::string line;
        for (const char byte : bytes.substr(start, bytesPerLine)) {
            const auto value = static_cast<unsigned char>(byte);
            line += {' ', kDigits[value >> 4U], kDigits[value & 0xFU]};
        }
        trTrace(naMin, "%s %zu:%s\n", name, start, line.c_str());
    }
}

}  // namespace

void Selection::setFilter(const std::string& clause) {
    filter = clause;
    errors.clear();
}

bool Selection::compile(const std::string& label, std::int32_t level) {
    TraceScope scope("Selection::compile");
    errors.clear();
    filter = withoutForeignPaths(filter);
    if (filter.empty() || filter == " ")
        root = node::always();
    else
        root = ClauseParser(filter, level, errors).parse();
    if (!root && naMin)
        traceFailure(label, level);
    return root != nullptr;
}

std::unique_ptr<SelectNode> Selection::takeRoot() {
    return std::move(root);
}

void Selection::traceFailure(const std::string& label, std::int32_t level) const {
    TraceScope scope("Selection::traceFailure");
    trTrace(naMin, "the filter of %s does not compile at level %d\n", label.c_str(), level);
    traceDump("filter", filter);
    traceDump("errors", errors);
}
