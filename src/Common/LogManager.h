#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

#include "Common/GenericException.h"
#include "Common/Messages.h"
#include "common/thrd/pkMutex.h"
#include "common/ut/LogRecord.h"

/// A text that goes into a message. Cut at 4604 characters; an empty one becomes
/// "<NULL>". Control characters become blanks, so that a file name cannot forge a line;
/// only lines() keeps line ends, for lists that the job itself has put together.
class MessageInsert {
public:
    MessageInsert(std::string_view text);  // NOLINT(google-explicit-constructor)
    MessageInsert(const std::string& text) : MessageInsert(std::string_view(text)) {}
    MessageInsert(const char* text) : MessageInsert(std::string_view(text)) {}

    static MessageInsert lines(const std::string& text);

    [[nodiscard]] std::string_view view() const { return value; }

private:
    MessageInsert() = default;
    std::string value;
};

using MessageInserts = std::initializer_list<MessageInsert>;

/// The writer of the activity log. There is one in a process, from the moment when the
/// command line has been read; whoever reports goes through logMsg() below, which does
/// nothing before that.
///
/// A job never fails because of its log: the codes are for the record. Any thread.
class LogManager {
public:
    explicit LogManager(std::string logPath);

    /// Appends the message to the log: 0; 9 if the log does not open, 11 if it has no
    /// name, 621 if the write fails.
    int logMsg(int number, std::string_view identifier, MessageInserts inserts);

    /// Stores the text of the message in `result`.
    int getMsg(std::string& result, int number, std::string_view identifier,
               MessageInserts inserts);

    /// Writes the message and a line end to standard output.
    int printMsg(int number, std::string_view identifier, MessageInserts inserts);

    /// Both; standard output gets only a line end when there is no text.
    int logAndPrintMsg(int number, std::string_view identifier, MessageInserts inserts);

    /// Appends one line "date time.milliseconds text".
    int LogActivityLog(const std::string& text);

    void setLogName(const std::string& path);

private:
    std::string m_LogName;
    LogRecord log;
    pkMutexOwner mutex;  // guards the name and the writing of a line
};

/// The process's log, null until the command line has been read and after the clean-up.
extern std::unique_ptr<LogManager> logManager;

/// Logs `id` if there is a log.
void logMsg(const MessageId& id, MessageInserts inserts = {});

/// Logs a failure under its own number, with its cause and message as inserts.
void logFailure(const GenericException& failure);
