#include "common/ut/traceControl.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <mutex>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/unx/UniqueFd.h"
#include "common/unx/ownFile.h"
#include "common/unx/systemCalls.h"
#include "common/ut/fileParts.h"
#include "common/ut/text.h"
#include "common/ut/timeStamp.h"
#include "common/ut/trace.h"

namespace {

constexpr std::uint64_t kMegabyte = 1048576;
constexpr std::uint32_t kDefaultSegment = 1000;  // megabytes
constexpr std::uint32_t kEndless = 0xFFFFFFFF;   // count of segments without a limit
constexpr std::size_t kMaxName = 1023;           // characters
constexpr std::uint64_t kReserved = 17;          // for the end mark and a line end
constexpr std::uint64_t kSlack = 64;             // that notices may exceed the limit by
constexpr std::uint64_t kNextWriteOffset = 12;   // in the header, like the next
constexpr std::uint64_t kSizeOffset = 24;
constexpr std::uint64_t kHeaderFields = 34;  // bytes
constexpr char kEndMark[] = "\nEND OF DATA\n\n";
constexpr char kCloseMark[] = "\nEND OF DATA - close\n\n";
constexpr char kProduct[] = " " PRODUCT_TEXT "   Build date: " __DATE__ "\n\n";
constexpr mode_t kMode = 0600;

/// The state of the trace, one in the process, guarded by its mutex.
struct TraceControl {
    std::mutex mutex;
    std::atomic<bool> open{false};
    UniqueFd stream;
    bool standardStream = false;  // a copy of its descriptor, written without a limit
    bool console = false;         // the hook takes the lines
    std::uint64_t nextWrite = 0;  // offset of the next line
    std::uint64_t dataStart = 0;  // offset behind the header
    TraceHooks hooks;             // set before other threads start, read without the lock
    bool wrap = false;
    std::string baseName;     // as given, made absolute
    std::string fileName;     // with the ending of the segment
    std::uint32_t maxMB = 0;  // 0 for no limit
    std::uint32_t segMB = 0;  // 0 for none
    std::uint32_t segCount = 0;
    std::uint32_t segIndex = 1;  // of the current segment
    std::uint32_t lastSegMB = 0;
    bool continuing = false;  // this segment follows another
};

/// Never destroyed: other threads may trace while the process ends.
TraceControl& control() {
    static TraceControl& instance = *new TraceControl;
    return instance;
}

bool writeAt(const TraceControl& trace, std::uint64_t offset, std::string_view text) {
    return writeFileAt(trace.stream.get(), offset, text);
}

std::uint32_t limitMB(const TraceControl& trace) {
    if (trace.segCount < 2)
        return trace.maxMB;
    return trace.segIndex == trace.segCount ? trace.lastSegMB : trace.segMB;
}

std::uint32_t nextSegment(const TraceControl& trace) {
    return trace.segIndex % trace.segCount + 1;
}

void closeStream(TraceControl& trace) {
    trace.open = false;
    const int fd = trace.stream.release();
    if (fd >= 0 && close(fd) != 0)
        std::printf("Unable to close trace output file %s: %s \n",
                    printable(trace.fileName).c_str(), errnoText(errno).c_str());
}

void giveUp(TraceControl& trace) {
    const int error = errno;
    std::printf("Unable to write to trace file %s error is (%d) %s. Tracing disabled.\n",
                printable(trace.fileName).c_str(), error, errnoText(error).c_str());
    std::fflush(stdout);
    closeStream(trace);
}

/// Takes up the file of an earlier run if it is one and fits.
bool continueOldFile(TraceControl& trace) {
    if (trace.segCount > 1)
        return false;
    UniqueFd old = openOwnFile(trace.fileName.c_str(), O_RDWR, kMode);
    struct stat status {};
    std::array<char, 4096> start{};
    if (!old || fstat(old.get(), &status) != 0)
        return false;
    const ssize_t length = readWholeAt(old.get(), start.data(), start.size() - 1, 0);
    if (length <= static_cast<ssize_t>(kHeaderFields))
        return false;

    unsigned next = 0;
    unsigned limit = 0;
    const std::string_view text(start.data(), static_cast<std::size_t>(length));
    const std::size_t lineEnd = text.find('\n', kHeaderFields);
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (lineEnd == std::string_view::npos ||
        std::sscanf(start.data(), "CVN Trace   %12u %10u", &next, &limit) != 2 ||
        limit > trace.maxMB || next <= lineEnd || next > size ||
        size > trace.maxMB * kMegabyte + kSlack)
        return false;

    trace.stream = std::move(old);
    trace.dataStart = lineEnd + 1;
    trace.nextWrite = next;
    return writeAt(trace, kSizeOffset, headerField(trace.maxMB, 10));
}

bool startNewFile(TraceControl& trace) {
    unlink(trace.fileName.c_str());
    trace.stream = openOwnFile(trace.fileName.c_str(), O_RDWR | O_CREAT | O_EXCL, kMode);
    if (!trace.stream)
        return false;
    const std::string header =
        std::string("CVN Trace   ") + "123456789012" + headerField(trace.maxMB, 10) + kProduct;
    trace.dataStart = trace.nextWrite = header.size();
    return writeAt(trace, 0, header);
}

bool openPlainFile(TraceControl& trace) {
    trace.stream = openOwnFile(trace.fileName.c_str(), O_RDWR | O_CREAT | O_APPEND, kMode);
    return trace.stream && writeAt(trace, 0, kProduct);
}

bool openFile(TraceControl& trace);

/// Makes room for a line: at the end of the space, on to the beginning or to the next
/// segment.
bool reserve(TraceControl& trace, std::uint64_t length) {
    if (trace.nextWrite + kReserved + length <= limitMB(trace) * kMegabyte)
        return true;
    if (trace.segCount < 2) {
        if (!writeAt(trace, trace.nextWrite, "\nContinued at beginning of file\n\n"))
            return false;
        trace.nextWrite = trace.dataStart;
        return true;
    }
    const std::uint32_t next = nextSegment(trace);
    if (!writeAt(trace, trace.nextWrite,
                 "\nContinued at beginning of segment " + std::to_string(next) + "\n\n"))
        return false;
    const std::uint32_t previous = trace.segIndex;
    trace.segIndex = next;
    trace.continuing = true;
    if (!openFile(trace))
        return false;
    trace.continuing = false;
    const std::string notice =
        "Continued from end of segment " + std::to_string(previous) + "\n\n";
    if (!writeAt(trace, trace.nextWrite, notice))
        return false;
    trace.nextWrite += notice.size();
    return true;
}

/// Appends text to a wrapping file and marks the new end.
bool writeWrapping(TraceControl& trace, std::string_view text) {
    // A line longer than the whole file would never find room.
    const std::uint64_t most =
        limitMB(trace) * kMegabyte - trace.dataStart - kReserved - kSlack;
    text = text.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(text.size(), most)));
    if (!reserve(trace, text.size()))
        return false;
    std::string line(text);
    line += kEndMark;
    if (!writeAt(trace, trace.nextWrite, line))
        return false;
    trace.nextWrite += text.size();
    return writeAt(trace, kNextWriteOffset, headerField(trace.nextWrite, 12));
}

bool writeText(TraceControl& trace, std::string_view text) {
    if (trace.console) {
        trace.hooks.console(text);
        return true;
    }
    if (trace.wrap && !trace.standardStream)
        return writeWrapping(trace, text);
    return writeWhole(trace.stream.get(), text);
}

bool openFile(TraceControl& trace) {
    trace.fileName = trace.baseName;
    if (trace.segCount > 1)
        trace.fileName += "." + std::to_string(trace.segIndex);
    if (!trace.wrap)
        return openPlainFile(trace);
    return (!trace.continuing && continueOldFile(trace)) || startNewFile(trace);
}

/// The standard stream of this name, -1 for any other name.
int standardStreamOf(const std::string& name) {
    if (strcasecmp(name.c_str(), "STDOUT") == 0)
        return STDOUT_FILENO;
    const bool error = strcasecmp(name.c_str(), "STDERR") == 0;
    return error || strcasecmp(name.c_str(), "CONSOLE") == 0 ? STDERR_FILENO : -1;
}

bool openStandardStream(TraceControl& trace, int stream) {
    trace.fileName = trace.baseName;
    if (trace.console)
        return true;
    trace.stream.reset(fcntl(stream, F_DUPFD_CLOEXEC, 0));
    return trace.stream && writeText(trace, stream == STDOUT_FILENO ? "Tracing to stdout\n"
                                                                    : "Tracing to stderr\n");
}

std::string absolute(const std::string& name) {
    std::array<char, PATH_MAX> directory{};
    if (name.starts_with('/') || !getcwd(directory.data(), directory.size()))
        return name;
    return std::string(directory.data()) + "/" + name;
}

void printBanner(const TraceControl& trace) {
    trError("Tracing to file: %s\n", trace.fileName.c_str());
    trError("Tracefile maximum length set to %lu MB.\n",
            static_cast<unsigned long>(trace.maxMB));
    trError("---------------------- %s ----------------------\n", secondsStamp().c_str());
}

}  // namespace

int trStart(const TraceHooks& hooks) {
    TraceControl& trace = control();
    const std::lock_guard<std::mutex> lock(trace.mutex);
    trace.hooks = hooks;
    return 0;
}

const TraceHooks& trHooks() noexcept {
    return control().hooks;
}

int trSetMax(std::uint32_t megabytes) {
    TraceControl& trace = control();
    bool divide = false;
    std::uint32_t segment = 0;
    {
        const std::lock_guard<std::mutex> lock(trace.mutex);
        trace.maxMB = megabytes;
        trace.wrap = megabytes > 0 || trace.segMB > 0;
        divide = trace.segMB > 0 || megabytes > kDefaultSegment;
        segment = trace.segMB > 0 ? trace.segMB : kDefaultSegment;
    }
    return divide ? trSetSegment(segment) : 0;
}

int trSetSegment(std::uint32_t megabytes) {
    TraceControl& trace = control();
    const std::lock_guard<std::mutex> lock(trace.mutex);
    trace.segIndex = 1;
    if (megabytes == 0) {
        trace.segMB = trace.segCount = trace.lastSegMB = 0;
        trace.wrap = trace.maxMB > 0;
        return 0;
    }
    trace.segMB = trace.lastSegMB = megabytes;
    trace.segCount = kEndless;
    if (trace.maxMB > 0) {
        trace.segMB = std::min(megabytes, trace.maxMB);
        trace.segCount = (trace.maxMB - 1) / trace.segMB + 1;
        const std::uint32_t rest = trace.maxMB % trace.segMB;
        trace.lastSegMB = rest == 0 ? trace.segMB : rest;
    }
    trace.wrap = true;
    return 0;
}

int trOpen(const std::string& name, bool banner) {
    TraceControl& trace = control();
    const bool quoted = name.size() > 2 && name.front() == '"' && name.back() == '"';
    const std::string plain = quoted ? name.substr(1, name.size() - 2) : name;
    if (plain.empty() || plain.size() > kMaxName) {
        std::printf("Invalid trace file name\n");
        return -1;
    }
    {
        const std::lock_guard<std::mutex> lock(trace.mutex);
        if (trace.open)
            return 0;
        const int stream = standardStreamOf(plain);
        trace.standardStream = stream >= 0;
        trace.console = trace.hooks.console && strcasecmp(plain.c_str(), "CONSOLE") == 0;
        trace.baseName = trace.standardStream ? plain : absolute(plain);
        trace.continuing = false;
        const bool done =
            trace.standardStream
                ? openStandardStream(trace, stream)
                : openFile(trace) &&
                      (!trace.wrap || writeText(trace, "BEGINNING NEW TRACE\n\n"));
        if (!done) {
            std::printf("Unable to open trace output file %s\n",
                        printable(trace.fileName).c_str());
            std::fflush(stdout);
            trace.stream.reset();
            return TR_OPEN_FAILED;
        }
        trace.open = true;
    }
    if (banner)
        printBanner(trace);
    return 0;
}

int trClose(bool forget) {
    TraceControl& trace = control();
    const std::lock_guard<std::mutex> lock(trace.mutex);
    if (trace.open && trace.wrap && !trace.standardStream)
        static_cast<void>(writeAt(trace, trace.nextWrite, kCloseMark));
    if (trace.open)
        closeStream(trace);
    if (forget) {
        trace.maxMB = trace.segMB = trace.segCount = trace.lastSegMB = 0;
        trace.segIndex = 1;
        trace.wrap = false;
    }
    return 0;
}

std::size_t trPrintRaw(std::string_view text) noexcept {
    TraceControl& trace = control();
    const int keptErrno = errno;
    std::size_t printed = 0;
    try {
        const std::lock_guard<std::mutex> lock(trace.mutex);
        if (trace.open && writeText(trace, text))
            printed = text.size();
        else if (trace.open)
            giveUp(trace);
    } catch (const std::exception&) {
        // No memory for the line, or no lock: it is lost, and the job goes on.
    }
    errno = keptErrno;
    return printed;
}

bool trIsOpen() noexcept {
    return control().open;
}
