#include "Common/LogManager.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>
#include <new>
#include <utility>
#include <vector>

#include "common/mem/lastReserve.h"
#include "common/nls/nls.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"
#include "common/ut/timeStamp.h"

std::unique_ptr<LogManager> logManager;

namespace {

constexpr std::size_t kMaxInsert = 4604;  // characters
constexpr int kOpenFailed = 9;
constexpr int kNoName = 11;
constexpr int kNoMemory = 102;
constexpr std::uint32_t kRetainDays = 10000;

/// Does what a log has to do, also without memory, and raises nothing.
template <class Work>
int withoutFailing(const Work& work) noexcept {
    const ReserveUse reserve;
    try {
        return work();
    } catch (const std::exception&) {
        return kNoMemory;
    }
}

void print(const std::string& text) {
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

/// True for three letters, four digits and a letter.
bool isIdentifier(const std::string& text) {
    static constexpr std::string_view kForm = "aaa0000a";
    if (text.size() != kForm.size())
        return false;
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if ((kForm[i] == 'a' ? std::isalpha(c) : std::isdigit(c)) == 0)
            return false;
    }
    return true;
}

}  // namespace

std::string MessageInsert::text() const {
    if (value.empty())
        return "<NULL>";
    const std::string_view cut = value.substr(0, kMaxInsert);
    return keepsLines ? std::string(cut) : printable(cut);
}

LogManager::LogManager(std::string logPath)
    : m_LogName(std::move(logPath)), mutex(pkCreateMutex()) {
    if (!mutex)
        throw std::bad_alloc();  // a log without its lock would be silent
}

int LogManager::getMsg(std::string& result, int number, std::string_view identifier,
                       MessageInserts inserts) noexcept {
    TraceScope scope("LogManager::getMsg");
    return withoutFailing([&] {
        std::vector<std::string> texts;
        texts.reserve(inserts.size());
        for (const MessageInsert& insert : inserts)
            texts.push_back(insert.text());

        result = nlMessageText(number, NlsValues(texts.begin(), texts.end()));
        if (identifier.empty())
            result.clear();
        // The caller's identifier takes the place of the catalog's; labels carry none.
        if (!identifier.empty() && identifier.back() != 'T')
            result.replace(0, std::min(identifier.size(), result.size()),
                           identifier.substr(0, result.size()));
        return 0;
    });
}

int LogManager::logMsg(int number, std::string_view identifier,
                       MessageInserts inserts) noexcept {
    TraceScope scope("LogManager::logMsg");
    const ReserveUse reserve;  // also for what getMsg() leaves behind
    std::string text;
    getMsg(text, number, identifier, inserts);
    return text.empty() ? 0 : LogActivityLog(text);
}

int LogManager::printMsg(int number, std::string_view identifier,
                         MessageInserts inserts) noexcept {
    TraceScope scope("LogManager::printMsg");
    std::string text;
    getMsg(text, number, identifier, inserts);
    if (!text.empty())
        print(text);
    return 0;
}

int LogManager::logAndPrintMsg(int number, std::string_view identifier,
                               MessageInserts inserts) noexcept {
    TraceScope scope("LogManager::logAndPrintMsg");
    std::string text;
    getMsg(text, number, identifier, inserts);
    const int rc = text.empty() ? 0 : LogActivityLog(text);
    print(text);
    return rc;
}

int LogManager::LogActivityLog(const std::string& text) noexcept {
    TraceScope scope("LogManager::LogActivityLog");
    return withoutFailing([&] { return appendLine(text); });
}

int LogManager::appendLine(const std::string& text) {
    TraceScope scope("LogManager::appendLine");
    const pkMutexHolder lock(mutex.get());
    if (!lock.held())
        return PS_LOCK_FAILED;
    if (m_LogName.empty()) {
        trTrace(naMin, "Exit %s, m_LogName not defined.\n", "LogManager::LogActivityLog");
        return kNoName;
    }
    // Opened for every line, so that the log can be read or moved at any moment.
    logSetup(log, 0, "", kRetainDays, 'D');
    if (!logOpen(log, m_LogName)) {
        trTrace(naMin, "Exit: %s, could not open %s.\n", "LogManager::LogActivityLog",
                m_LogName.c_str());
        return kOpenFailed;
    }
    std::string line = millisecondsStamp() + " " + text;
    if (line.back() != '\n')
        line += '\n';
    const int rc = logWrite(log, line);
    static_cast<void>(logClose(log));  // a failure to close changes nothing any more
    return rc;
}

void LogManager::setLogName(const std::string& path) {
    TraceScope scope("LogManager::setLogName");
    const pkMutexHolder lock(mutex.get());
    trTrace(naMin, "Changing log from %s to %s\n", m_LogName.c_str(), path.c_str());
    m_LogName = path;
}

void logMsg(const MessageId& id, MessageInserts inserts) noexcept {
    if (logManager)
        logManager->logMsg(id.number, id.identifier, inserts);
}

void logFailure(const GenericException& failure) noexcept {
    TraceScope scope("logFailure");
    if (!logManager)
        return;
    withoutFailing([&failure] {
        const int number = static_cast<int>(failure.getMsgID());
        std::string identifier = failure.getMessage();
        if (!isIdentifier(identifier))
            identifier = nlMessageText(number, {"", ""}).substr(0, 8);
        return logManager->logMsg(number, identifier,
                                  {failure.getCause(), failure.getMessage()});
    });
}
