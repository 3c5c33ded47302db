#include "common/nls/nls.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <nl_types.h>

#include "common/ut/TraceScope.h"

namespace {

constexpr int kMessageSet = 1;
constexpr char kPlainFormat = '\x01';
constexpr std::string_view kLabelSeverities = "ZTRL";    // identifier left out of the text
constexpr std::string_view kReportSeverities = "KIWES";  // identifier kept

bool isOpen = false;
nl_catd catalog = nullptr;  // valid while open

void complain(const char* problem, int number) {
    std::printf("KLM9999E %s(%u): Message No %d %s.\n", "nls.cpp", 0U, number, problem);
    std::fflush(stdout);
}

std::string withInserts(std::string_view format, const std::vector<std::string_view>& inserts) {
    std::string text;
    std::size_t next = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%' || i + 1 == format.size()) {
            text += format[i];
            continue;
        }
        const char conversion = format[++i];
        if (conversion == 's') {
            if (next < inserts.size())
                text += inserts[next++];
        } else {
            text += conversion;
        }
    }
    return text;
}

}  // namespace

int nlSetUp(const std::string& file, const std::string& directory) {
    TraceScope scope("nlSetUp");
    nlClose();
    const std::string path = directory + "/en_US/" + file;
    catalog = catopen(path.c_str(), 0);
    isOpen = reinterpret_cast<std::intptr_t>(catalog) != -1;
    if (isOpen)
        return 0;

    std::printf("KLM0101E Unable to open English message repository '%s'.\n", path.c_str());
    std::fflush(stdout);
    return 610;
}

std::string nlMessageText(int number, const std::vector<std::string_view>& inserts) {
    TraceScope scope("nlMessageText");
    if (!isOpen)
        return {};

    static constexpr char kMissing[] = "";
    const std::string_view entry = catgets(catalog, kMessageSet, number, kMissing);
    if (entry.empty()) {
        complain("could not be found", number);
        return {};
    }

    std::size_t severity = 4;
    while (severity < entry.size() &&
           std::isdigit(static_cast<unsigned char>(entry[severity])) != 0)
        ++severity;
    const std::size_t body = severity + 2;
    const bool wellFormed =
        body < entry.size() && entry[severity + 1] == ' ' && entry[body] == kPlainFormat;
    const bool label =
        wellFormed && kLabelSeverities.find(entry[severity]) != std::string_view::npos;
    const bool report =
        wellFormed && kReportSeverities.find(entry[severity]) != std::string_view::npos;
    if (!label && !report) {
        complain("is corrupted", number);
        return {};
    }

    const std::string text = withInserts(entry.substr(body + 1), inserts);
    return label ? text : std::string(entry.substr(0, body)) + text;
}

void nlClose() noexcept {
    if (isOpen)
        catclose(catalog);
    isOpen = false;
}
