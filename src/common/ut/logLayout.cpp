#include "common/ut/logLayout.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <ctime>

#include "common/ut/fileParts.h"

namespace {

constexpr std::string_view kTag = "LOGHEADERREC ";
constexpr char kProduct[] = " " PRODUCT_TEXT "   Build date: " __DATE__ "\n\n";
constexpr std::size_t kReach = 65536;  // bytes from the end in which a wrap mark is sought

/// Takes a decimal number from the front of `text`.
template <typename Number>
bool takeNumber(std::string_view& text, Number& number) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc())
        return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

std::chrono::sys_days today() {
    const std::time_t now = std::time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    return std::chrono::year(local.tm_year + 1900) /
           std::chrono::month(static_cast<unsigned>(local.tm_mon + 1)) /
           std::chrono::day(static_cast<unsigned>(local.tm_mday));
}

}  // namespace

std::string logHeader(std::uint32_t maxWrap) {
    return std::string(kTag) + headerField(0, kLogNextWidth) +
           headerField(maxWrap, kLogSizeWidth) + kProduct;
}

bool readLogHeader(std::string_view start, LogHeader& header) {
    const std::size_t lineEnd = start.find('\n');
    if (lineEnd == std::string_view::npos || !start.starts_with(kTag))
        return false;
    header.length = static_cast<std::uint32_t>(lineEnd + 1);
    start = start.substr(0, lineEnd);
    start.remove_prefix(kTag.size());
    return takeNumber(start, header.nextWrite) && takeNumber(start, header.maxWrap) &&
           header.maxWrap > 0;
}

std::uint64_t logWrapMarkOffset(int fd, std::string_view mark, std::uint64_t size) {
    const std::uint64_t from = size > kReach ? size - kReach : 0;
    std::string tail;
    if (!readFileAt(fd, from, kReach, tail))
        return size;
    const std::size_t at = tail.rfind(mark);
    if (at == std::string::npos || (at > 0 && tail[at - 1] != '\n'))
        return size;
    const std::string_view fill = std::string_view(tail).substr(at + mark.size());
    const bool isFill = fill.ends_with('\n') && fill.find_first_not_of(" *\n") == fill.npos;
    return isFill ? from + at : size;
}

bool daysSince(std::string_view line, long& days) {
    static constexpr std::string_view kForm = "0000-00-00";
    if (line.size() < kForm.size())
        return false;
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        const bool digit = std::isdigit(static_cast<unsigned char>(line[i])) != 0;
        if (kForm[i] == '0' ? !digit : line[i] != '-')
            return false;
    }
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    std::from_chars(&line[0], &line[4], year);
    std::from_chars(&line[5], &line[7], month);
    std::from_chars(&line[8], &line[8] + 2, day);
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                           std::chrono::day(day)};
    if (!date.ok())
        return false;
    days = (today() - std::chrono::sys_days(date)).count();
    return true;
}
