#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "common/unx/UniqueFd.h"

/// Log files that never outgrow a limit.
///
/// With a maximum size a log wraps: behind its end it goes on at the beginning, over the
/// oldest lines. Its first line holds, at fixed places, where the newest data ends:
///
///     offset  0  13 bytes  "LOGHEADERREC "
///     offset 13  12 bytes  offset of the next line, decimal, left aligned
///     offset 25  10 bytes  maximum size in bytes, likewise
///     offset 35  product, version and build date, two line ends
///
/// Behind the newest line stands the end mark, at the end of a full file the wrap mark;
/// both are texts of the message catalog. Without a maximum size a log is pruned when it
/// is opened: what is older than `retainDays` goes, up to the first line that is younger.
/// That costs nothing while the first line is young enough.
///
/// A log changes its kind when it is opened with another maximum. What cannot be read as a
/// header is a line of a plain log; a header that points outside its file starts the log
/// over. Only regular files are opened, never through a link at the last name.
///
/// A record is used under the lock of its owner. Several processes may append to one plain
/// log: every line is one write, and pruning waits until nobody writes.
struct LogRecord {
    std::string fileName;
    std::uint32_t headerLength = 0;  // bytes of the first line of a wrapping log
    std::uint32_t maxWrap = 0;       // bytes, 0 for a log that does not wrap
    bool wrapping = false;
    std::uint32_t nextWrite = 0;  // offset of the next line of a wrapping log
    std::string saveFile;         // takes pruned lines; empty for none
    std::uint32_t retainDays = 0;
    char disposition = 'D';  // of pruned lines: 'S' to save, 'D' to drop
    int errnoKept = 0;       // of the last failure
    UniqueFd stream;         // the open log
    bool failed = false;     // the last pruning failed
};

/// What a failed write returns.
inline constexpr int LOG_WRITE_FAILED = 621;

/// The smallest maximum size; logSetup() raises what lies below. Bytes.
inline constexpr std::uint32_t LOG_LEAST_WRAP = 512;

/// Messages that logs need: the texts of the marks, and reports about the upkeep. Belong to
/// the layer of messages; null functions stand for fixed texts and for silence.
struct LogMessages {
    std::string (*text)(int number) = nullptr;
    void (*reportPath)(int number, const std::string& path) = nullptr;
    void (*reportFailure)(int number, const std::string& path,
                          const std::string& reason) = nullptr;
    void (*reportLines)(int number, unsigned long lines) = nullptr;
};
void logUseMessages(const LogMessages& messages);

/// Empties the record and closes its log.
void logInit(LogRecord& record);

void logSetup(LogRecord& record, std::uint32_t maxWrap, const std::string& saveFile,
              std::uint32_t retainDays, char disposition);

/// Opens the log, with the directories that it needs, and brings it to the kind that the
/// record asks for. False, after a report, if that fails; `errnoKept` tells why.
[[nodiscard]] bool logOpen(LogRecord& record, const std::string& path);

/// 0, or -1 with `errnoKept`; harmless if the log is not open.
int logClose(LogRecord& record);

/// Appends one line as it stands: room is made, the line written, the end marked. A line
/// longer than the whole log is cut. Returns 0 or LOG_WRITE_FAILED.
[[nodiscard]] int logWrite(LogRecord& record, std::string_view line);

/// Makes room for a line of so many bytes at `nextWrite`. Nothing for a plain log.
[[nodiscard]] bool logReserve(LogRecord& record, std::uint32_t length);

/// Notes in the header that a line ends at `nextWrite`, and writes the end mark. Nothing
/// for a plain log.
[[nodiscard]] bool utSetNextWrite(LogRecord& record);

/// Drops the lines of the open log before the first one that is dated within the last
/// `retainDays` days, into `saveFile` if it is not empty. 0; or -1 with the log as it was.
[[nodiscard]] int logPrune(LogRecord& record, const std::string& path,
                           const std::string& saveFile, std::uint32_t retainDays);
