#include "Common/CommonAgent.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <memory>

#include "Common/LogManager.h"
#include "Common/unix/psnautil.h"
#include "common/unx/UniqueFd.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

constexpr char kUptimeFile[] = "/proc/uptime";  // proc_uptime(5): seconds, with decimals

/// The number at the start of the text, in milliseconds; -1 if it is no time.
std::int64_t inMilliseconds(const char* text, std::size_t length) {
    constexpr double longest = 1e12;  // seconds; what is above it is no up time
    double seconds = -1;
    const auto parsed = std::from_chars(text, text + length, seconds);
    const bool usable = parsed.ec == std::errc() && seconds >= 0 && seconds <= longest;
    return usable ? static_cast<std::int64_t>(seconds * 1000) : -1;
}

std::unique_ptr<CommonAgent> newAgent() {
    TraceScope scope("newAgent");
    trTrace(naMin, "Instantiating new CommonAgent object...");
    auto agent = std::make_unique<CommonAgent>();
    static_cast<void>(agent->initialize());
    return agent;
}

}  // namespace

bool CommonAgent::initialize() {
    TraceScope scope("CommonAgent::initialize");
    isWindows = false;
    return true;
}

std::int64_t CommonAgent::getLastBootTime() const {
    TraceScope scope("CommonAgent::getLastBootTime");
    const UniqueFd fd(openFile(kUptimeFile, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd) {
        logMsg(message::AGT0069E, {withErrnoText(kUptimeFile, errno)});
        return 0;
    }
    std::array<char, 128> text{};
    const ssize_t length = readWhole(fd.get(), text.data(), text.size());
    if (length < 0) {
        logMsg(message::AGT0070E, {withErrnoText(kUptimeFile, errno)});
        return 0;
    }
    const std::int64_t upTime = inMilliseconds(text.data(), static_cast<std::size_t>(length));
    if (upTime < 0) {
        logMsg(message::AGT0071E, {kUptimeFile});
        return 0;
    }
    return currentMilliseconds() - upTime;
}

std::string CommonAgent::getTimeZone() {
    TraceScope scope("CommonAgent::getTimeZone");
    const std::time_t now = currentSeconds();
    struct tm local {};
    localtime_r(&now, &local);
    const long minutes = std::labs(local.tm_gmtoff) / 60;
    return std::string("GMT") + (local.tm_gmtoff < 0 ? '-' : '+') +
           zeroPadded(minutes / 60, 2) + ":" + zeroPadded(minutes % 60, 2);
}

CommonAgent* CommonAgentFactory::getCommonAgent() {
    TraceScope scope("CommonAgentFactory::getCommonAgent");
    static CommonAgent* const agent = newAgent().release();
    return agent;
}
