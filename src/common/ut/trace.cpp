#include "common/ut/trace.h"

unsigned char naMin = 0;
unsigned char naMid = 0;
unsigned char naMax = 0;
unsigned char naEnter = 0;
unsigned char naExit = 0;
unsigned char traceError = 0;

void trPrint(const char* /*file*/, int /*line*/, const char* /*format*/, ...) noexcept {
    // The trace has no file yet, so a line has nowhere to go.
}

void trEnter(const char* function) noexcept {
    trPrint("", 0, "Enter: %s\n", function);
}

void trExit(const char* function) noexcept {
    trPrint("", 0, "Exit: %s\n", function);
}

int trSetLevel(const std::string& level) noexcept {
    const bool max = level == "MAX";
    const bool mid = max || level == "MID";
    const bool min = mid || level == "MIN";
    if (!min && !level.empty())
        return -1;

    naMin = min;
    naMid = mid;
    naMax = naEnter = naExit = max;
    return 0;
}
