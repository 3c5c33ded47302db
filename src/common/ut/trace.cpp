#include "common/ut/trace.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <pthread.h>
#include <span>
#include <string>
#include <unistd.h>

#include "common/ut/text.h"
#include "common/ut/timeStamp.h"
#include "common/ut/traceClasses.h"
#include "common/ut/traceControl.h"

unsigned char naMin = 0;
unsigned char naMid = 0;
unsigned char naMax = 0;
unsigned char naEnter = 0;
unsigned char naExit = 0;
unsigned char trEnterClass = 0;
unsigned char trExitClass = 0;

namespace {

constexpr std::size_t kLineSize = 4862;  // bytes that need no further memory

/// Of the last line, 0 before the first.
std::atomic<std::uint32_t> lastThread{0};

std::uint32_t threadId() {
    const auto own = trHooks().threadId;
    return own ? own() : static_cast<std::uint32_t>(pthread_self());
}

/// What stands before the text of a line, as the classes say.
std::string linePrefix(const char* file, int line) {
    std::array<char, 128> text{};
    std::string prefix;
    if (trTimeStamp != 0)
        prefix = millisecondsStamp() + " ";
    if (trPid != 0) {
        std::snprintf(text.data(), text.size(), "[%.6u] ", static_cast<unsigned>(getpid()));
        prefix += text.data();
    }
    const std::uint32_t thread = threadId();
    if (trThread != 0 && trHooks().threadHeader && lastThread.exchange(thread) != thread)
        prefix += trHooks().threadHeader(thread);
    if (trTid != 0) {
        std::snprintf(text.data(), text.size(), "[%u] ", thread);
        prefix += text.data();
    }
    if (trClientType != 0) {
        std::snprintf(text.data(), text.size(), "[%d] ", trHooks().programType);
        prefix += text.data();
    }
    if (trPrefix != 0) {
        const char* const slash = std::strrchr(file, '/');
        std::snprintf(text.data(), text.size(), "%-20s(%4u): ", slash ? slash + 1 : file,
                      static_cast<unsigned>(line));
        prefix += text.data();
    }
    return prefix;
}

/// What a format of one line prints is one line. One of several lines keeps all line ends:
/// what it names must have none.
void keepLines(std::span<char> text, const char* format) {
    const char* const lineEnd = std::strchr(format, '\n');
    const bool several = lineEnd && lineEnd[1] != '\0';
    if (lineEnd && !several && !text.empty())
        text = text.first(text.size() - 1);
    blankControls(text, several ? "\t\n" : "\t");
}

void printLine(const char* file, int line, const char* format, va_list arguments) {
    std::string text = linePrefix(file, line);
    const std::size_t start = text.size();
    std::array<char, kLineSize> buffer{};
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    if (length >= 0 && static_cast<std::size_t>(length) < buffer.size()) {
        text += buffer.data();
    } else if (length > 0) {
        text.resize(start + static_cast<std::size_t>(length) + 1);
        std::vsnprintf(&text[start], static_cast<std::size_t>(length) + 1, format, again);
        text.pop_back();
    }
    va_end(again);
    keepLines(std::span(text).subspan(start), format);
    if (!text.ends_with('\n'))
        text += '\n';
    trPrintRaw(text);
}

}  // namespace

void trPrint(const char* file, int line, const char* format, ...) noexcept {
    if (!trIsOpen())
        return;
    const int keptErrno = errno;
    va_list arguments;
    va_start(arguments, format);
    try {
        printLine(file, line, format, arguments);
    } catch (const std::bad_alloc&) {
        // The line is lost; a trace never stops a job.
    }
    va_end(arguments);
    errno = keptErrno;
}

void trEnter(const char* function, const char* file, int line) noexcept {
    trPrint(file, line, "Enter: %s\n", function);
}

void trExit(const char* function, const char* file, int line) noexcept {
    trPrint(file, line, "Exit: %s\n", function);
}
