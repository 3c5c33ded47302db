#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

#include "Common/GenericException.h"
#include "Common/Messages.h"
#include "common/thrd/pkMutex.h"
#include "common/ut/LogRecord.h"

/// A text that goes into a message; it is not owned. In the message it is cut at 4604
/// characters, an empty one is "<NULL>", and it is printable(), so that a file name cannot
/// forge a line; only lines() keeps line ends, for lists that the job itself has put together.
class MessageInsert {
public:
    MessageInsert(std::string_view text) noexcept  // NOLINT(google-explicit-constructor)
        : value(text) {}
    MessageInsert(const std::string& text) noexcept : value(text) {}
    MessageInsert(const char* text) noexcept : value(text) {}

    static MessageInsert lines(std::string_view text) noexcept {
        MessageInsert insert(text);
        insert.keepsLines = true;
        return insert;
    }

    /// The text as it stands in the message.
    [[nodiscard]] std::string text() const;

private:
    std::string_view value;
    bool keepsLines = false;
};

using MessageInserts = std::initializer_list<MessageInsert>;

/// The writer of the activity log. There is one in a process, from the moment when the
/// command line has been read; whoever reports goes through logMsg() below, which does
/// nothing before that.
///
/// A job never fails because of its log: the codes are for the record, and nothing is raised. A
/// line is written even if the process has no memory left (see ReserveUse). Any thread.
class LogManager {
public:
    /// The log of this path; raises std::bad_alloc.
    explicit LogManager(std::string logPath);

    /// Appends the message to the log: 0; 9 if the log does not open, 11 if it has no
    /// name, 102 if there is no memory at all, 621 if the write fails.
    int logMsg(int number, std::string_view identifier, MessageInserts inserts) noexcept;

    /// Stores the text of the message in `result`.
    int getMsg(std::string& result, int number, std::string_view identifier,
               MessageInserts inserts) noexcept;

    /// Writes the message and a line end to standard output.
    int printMsg(int number, std::string_view identifier, MessageInserts inserts) noexcept;

    /// Both; standard output gets only a line end when there is no text.
    int logAndPrintMsg(int number, std::string_view identifier,
                       MessageInserts inserts) noexcept;

    /// Appends one line "date time.milliseconds text".
    int LogActivityLog(const std::string& text) noexcept;

    void setLogName(const std::string& path);

private:
    int appendLine(const std::string& text);

    std::string m_LogName;
    LogRecord log;
    pkMutexOwner mutex;  // guards the name and the writing of a line
};

/// The process's log, null until the command line has been read and after the clean-up.
extern std::unique_ptr<LogManager> logManager;

/// Logs `id` if there is a log.
void logMsg(const MessageId& id, MessageInserts inserts = {}) noexcept;

/// Logs a failure under its own number, with its cause and message as inserts.
void logFailure(const GenericException& failure) noexcept;
