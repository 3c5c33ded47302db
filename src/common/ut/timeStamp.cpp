#include "common/ut/timeStamp.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <sys/time.h>

namespace {

std::string stamp(std::time_t seconds) {
    struct tm local {};
    localtime_r(&seconds, &local);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
    return text.data();
}

}  // namespace

std::string secondsStamp() {
    return stamp(std::time(nullptr));
}

std::string millisecondsStamp() {
    struct timeval now {};
    gettimeofday(&now, nullptr);
    std::array<char, 8> milliseconds{};
    std::snprintf(milliseconds.data(), milliseconds.size(), ".%03lu",
                  static_cast<unsigned long>(now.tv_usec / 1000) % 1000);
    return stamp(now.tv_sec) + milliseconds.data();
}
