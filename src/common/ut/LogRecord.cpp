#include "common/ut/LogRecord.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/unx/ownFile.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"
#include "common/ut/fileParts.h"
#include "common/ut/logLayout.h"
#include "common/ut/makeDirPath.h"
#include "common/ut/text.h"

namespace {

constexpr std::size_t kMaxName = 1023;  // characters
constexpr std::size_t kMaxMark = 100;   // bytes, so that the smallest log has room
constexpr mode_t kMode = 0640;
constexpr int kOpenFailedMessage = 264;
constexpr int kLockTries = 200;  // for the right to append, of the whole process
constexpr std::chrono::milliseconds kLockPause{10};  // between two of them
constexpr std::size_t kHeaderReach = 4096;           // bytes in which the first line must end

LogMessages logMessages;
std::string wrapMark;  // fetched on first use
std::string endMark;

/// Fetches the marks. Marked as fetched before: a catalog without them reports that into a
/// log, which comes here again.
void fetchMarks() {
    if (!endMark.empty())
        return;
    wrapMark = "CONTINUED AT BEGINNING OF FILE";
    endMark = "END OF DATA";
    if (!logMessages.text)
        return;
    const std::string wrap = logMessages.text(216);
    const std::string end = logMessages.text(217);
    wrapMark = wrap.empty() ? wrapMark : wrap.substr(0, kMaxMark);
    endMark = end.empty() ? endMark : end.substr(0, kMaxMark);
}

bool fail(LogRecord& record, const std::string& path, int error) {
    record.errnoKept = error;
    record.stream.reset();
    if (logMessages.reportFailure)
        logMessages.reportFailure(kOpenFailedMessage, path, errnoText(error));
    return false;
}

/// Opens the file for update, and makes it and its directories if there are none.
bool openForUpdate(LogRecord& record, const std::string& path) {
    constexpr int flags = O_RDWR | O_CREAT | O_APPEND;
    record.stream = openOwnFile(path.c_str(), flags, kMode);
    const std::size_t slash = path.rfind('/');
    if (!record.stream && errno != EINVAL && slash != std::string::npos) {
        if (makeDirPath(path.substr(0, slash)) != 0)
            return fail(record, path, EACCES);
        record.stream = openOwnFile(path.c_str(), flags, kMode);
    }
    return record.stream || fail(record, path, errno);
}

std::uint64_t sizeOf(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

/// A file without a name in the directory of `path`, for a copy.
UniqueFd temporaryBeside(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    UniqueFd temporary(open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (temporary)
        return temporary;
    std::string name = directory + "/logXXXXXX";
    temporary.reset(mkostemp(name.data(), O_CLOEXEC));
    if (temporary)
        unlink(name.c_str());
    return temporary;
}

/// Puts the newest whole lines of a copy into the empty log, as many as it can hold.
bool fillWrapping(LogRecord& record, int copy) {
    const int log = record.stream.get();
    const std::string header = logHeader(record.maxWrap);
    const std::uint64_t room =
        record.maxWrap - header.size() - endMark.size() - wrapMark.size() - kLogMarksReserve;
    const std::uint64_t size = sizeOf(copy);
    const std::uint64_t start = size <= room ? 0 : behindLine(copy, size - room - 1, size);
    if (ftruncate(log, 0) != 0 || !writeFileAt(log, 0, header) ||
        !copyFilePart(copy, start, size, log, header.size()))
        return false;
    record.headerLength = static_cast<std::uint32_t>(header.size() - 1);
    record.nextWrite = static_cast<std::uint32_t>(header.size() + (size - start));
    return utSetNextWrite(record);
}

/// Copies the lines of a wrapping log, the oldest first.
bool copyInTimeOrder(const LogRecord& record, int copy) {
    const int log = record.stream.get();
    const std::uint64_t size = sizeOf(log);
    const std::uint64_t behindMark =
        std::min<std::uint64_t>(record.nextWrite + endMark.size() + 1, size);
    // The end mark covers the beginning of the oldest line.
    const std::uint64_t oldest = behindLine(log, behindMark, size);
    const std::uint64_t oldEnd = std::max(oldest, logWrapMarkOffset(log, wrapMark, size));
    std::string next;
    if (!readFileAt(log, record.headerLength, 1, next))
        return false;
    const std::uint64_t newest = record.headerLength + (next == "\n" ? 1 : 0);
    return copyFilePart(log, oldest, oldEnd, copy, 0) &&
           copyFilePart(log, newest, record.nextWrite, copy, oldEnd - oldest);
}

unsigned long countLines(int copy) {
    constexpr unsigned long reportEvery = 25000;
    const std::uint64_t size = sizeOf(copy);
    unsigned long lines = 0;
    for (std::uint64_t at = 0; at < size; at = behindLine(copy, at, size)) {
        if (++lines % reportEvery == 0 && logMessages.reportLines)
            logMessages.reportLines(232, lines);
    }
    return lines;
}

bool copyFailed(LogRecord& record) {
    const int error = errno;
    trError("Couldn't copy from temp file back to <%s>. errno = %d, %s\n",
            record.fileName.c_str(), error, errnoText(error).c_str());
    errno = error;
    return false;
}

bool startOver(LogRecord& record) {
    const UniqueFd nothing = temporaryBeside(record.fileName);
    return nothing && fillWrapping(record, nothing.get());
}

/// Ends the line that a killed process or a full disk has left half written, so that the next
/// one begins a line of its own.
bool endLastLine(int log) {
    const std::uint64_t size = sizeOf(log);
    std::string last;
    return size == 0 || (readFileAt(log, size - 1, 1, last) &&
                         (last == "\n" || writeFileAt(log, size, "\n")));
}

/// True if the header tells of this log: where a line ends in it, within its limit.
bool fitsLog(const LogHeader& header, int log) {
    const std::uint64_t size = sizeOf(log);
    std::string last;
    return header.length < LOG_LEAST_WRAP / 2 && header.nextWrite >= header.length &&
           header.nextWrite <= size && size <= header.maxWrap &&
           readFileAt(log, header.nextWrite - 1, 1, last) && last == "\n";
}

/// A plain log becomes one that wraps.
bool beginWrapping(LogRecord& record) {
    if (!endLastLine(record.stream.get()))
        return false;
    const std::uint64_t size = sizeOf(record.stream.get());
    if (size == 0)
        return startOver(record);
    const UniqueFd copy = temporaryBeside(record.fileName);
    if (!copy || !copyFilePart(record.stream.get(), 0, size, copy.get(), 0))
        return copyFailed(record);
    if (logMessages.reportPath)
        logMessages.reportPath(233, record.fileName);
    static_cast<void>(countLines(copy.get()));
    return fillWrapping(record, copy.get()) || copyFailed(record);
}

/// A smaller limit keeps the newest lines; none at all makes a plain log.
bool rewriteWrapping(LogRecord& record) {
    const UniqueFd copy = temporaryBeside(record.fileName);
    if (!copy || !copyInTimeOrder(record, copy.get()))
        return copyFailed(record);
    record.wrapping = record.maxWrap > 0;
    if (record.wrapping)
        return fillWrapping(record, copy.get()) || copyFailed(record);
    const int log = record.stream.get();
    const bool done =
        ftruncate(log, 0) == 0 && copyFilePart(copy.get(), 0, sizeOf(copy.get()), log, 0);
    return done || copyFailed(record);
}

/// Brings the open log to the kind that the record asks for.
bool utWrapFile(LogRecord& record) {
    FoundationScope scope("utWrapFile");
    const int log = record.stream.get();
    std::string start;
    if (!readFileAt(log, 0, kHeaderReach, start))
        return false;
    LogHeader header;
    if (!readLogHeader(start, header)) {
        record.wrapping = record.maxWrap > 0;
        if (record.wrapping)
            return fcntl(log, F_SETFL, O_NONBLOCK) == 0 && beginWrapping(record);
        const bool save = record.disposition == 'S';
        return logPrune(record, record.fileName, save ? record.saveFile : "",
                        record.retainDays) == 0 &&
               endLastLine(log);
    }

    trTrace(naMid, "utWrapFile(): got offset %d and max %d of <%s>.\n",
            static_cast<int>(header.nextWrite), static_cast<int>(header.maxWrap),
            record.fileName.c_str());
    // From here on lines go to places of their own.
    if (fcntl(log, F_SETFL, O_NONBLOCK) != 0)
        return false;
    record.wrapping = true;
    record.headerLength = header.length;
    record.nextWrite = header.nextWrite;
    const bool sane = fitsLog(header, log);
    if (!sane && record.maxWrap > 0)
        return startOver(record);
    if (!sane)
        record.nextWrite = record.headerLength;
    if (record.maxWrap < header.maxWrap)
        return rewriteWrapping(record) &&
               (record.wrapping ||
                (fcntl(log, F_SETFL, O_NONBLOCK | O_APPEND) == 0 && endLastLine(log)));
    return record.maxWrap == header.maxWrap ||
           writeFileAt(log, kLogSizeOffset, headerField(record.maxWrap, kLogSizeWidth));
}

/// Waits until nobody prunes the log: not for long, and together no longer in all the life of
/// the process, for whoever can read a log can hold this lock for ever. Writing goes on without
/// the right to it: a process that was stopped while it pruned must not stop all others.
void waitForPruning(int log) {
    static std::atomic<int> triesLeft{kLockTries};
    while (uninterrupted([log] { return flock(log, LOCK_SH | LOCK_NB); }) != 0) {
        if (errno != EWOULDBLOCK || triesLeft <= 0)
            return;
        --triesLeft;
        pauseFor(kLockPause);
    }
}

}  // namespace

void logUseMessages(const LogMessages& messages) {
    logMessages = messages;
    wrapMark.clear();
    endMark.clear();
}

void logInit(LogRecord& record) {
    record = LogRecord();
}

void logSetup(LogRecord& record, std::uint32_t maxWrap, const std::string& saveFile,
              std::uint32_t retainDays, char disposition) {
    record.maxWrap = maxWrap == 0 ? 0 : std::max(maxWrap, LOG_LEAST_WRAP);
    record.saveFile = saveFile;
    record.retainDays = retainDays;
    record.disposition = disposition;
}

bool logOpen(LogRecord& record, const std::string& path) {
    FoundationScope scope("logOpen");
    fetchMarks();
    record.wrapping = false;
    record.fileName = path;
    if (path.empty() || path.size() > kMaxName) {
        record.errnoKept = ENAMETOOLONG;
        return false;
    }
    if (!openForUpdate(record, path))
        return false;
    if (utWrapFile(record))
        return true;
    record.errnoKept = errno;
    record.stream.reset();
    return false;
}

int logClose(LogRecord& record) {
    FoundationScope scope("logClose");
    const int fd = record.stream.release();
    if (fd < 0 || close(fd) == 0)
        return 0;
    record.errnoKept = errno;
    return -1;
}

int logWrite(LogRecord& record, std::string_view line) {
    FoundationScope scope("logWrite");
    const int log = record.stream.get();
    bool done = false;
    if (record.wrapping) {
        // A line longer than the whole log would never find room.
        const std::size_t marks = endMark.size() + wrapMark.size() + kLogMarksReserve;
        const std::size_t most = record.maxWrap - record.headerLength - marks;
        std::string cut(line.substr(0, most));
        if (cut.size() < line.size())
            cut.back() = '\n';
        done = logReserve(record, static_cast<std::uint32_t>(cut.size())) &&
               writeFileAt(log, record.nextWrite, cut);
        record.nextWrite += done ? static_cast<std::uint32_t>(cut.size()) : 0;
        done = done && utSetNextWrite(record);
    } else {
        waitForPruning(log);
        done = writeWhole(log, line);
        const int error = errno;
        flock(log, LOCK_UN);
        errno = error;
    }
    if (done)
        return 0;
    record.errnoKept = errno;
    return LOG_WRITE_FAILED;
}

bool logReserve(LogRecord& record, std::uint32_t length) {
    FoundationScope scope("logReserve");
    if (!record.wrapping)
        return true;
    const std::uint64_t need = std::uint64_t{record.nextWrite} + length + endMark.size() +
                               wrapMark.size() + kLogMarksReserve;
    if (need <= record.maxWrap)
        return true;

    std::string mark = wrapMark;
    const std::uint64_t behind = record.nextWrite + wrapMark.size();
    const std::uint64_t fill = behind < record.maxWrap ? record.maxWrap - behind : 0;
    if (fill > 2)
        mark.append(fill - 2, ' ');
    if (fill > 1)
        mark += '*';
    if (fill > 0)
        mark += '\n';
    if (!writeFileAt(record.stream.get(), record.nextWrite, mark))
        return false;
    record.nextWrite = record.headerLength;
    return true;
}

bool utSetNextWrite(LogRecord& record) {
    FoundationScope scope("utSetNextWrite");
    if (!record.wrapping)
        return true;
    const int log = record.stream.get();
    if (!writeFileAt(log, kLogNextOffset, headerField(record.nextWrite, kLogNextWidth)))
        return false;
    trTrace(naMax, "utSetNextWrite(): nextWrite for END OF DATA is %d .\n",
            static_cast<int>(record.nextWrite));
    return writeFileAt(log, record.nextWrite, endMark + "\n");
}
