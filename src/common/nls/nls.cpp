#include "common/nls/nls.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "common/nls/MessageCache.h"
#include "common/nls/MessageCatalog.h"
#include "common/nls/messageRecord.h"
#include "common/thrd/GlobalRC.h"
#include "common/thrd/pkMutex.h"
#include "common/ut/LogRecord.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"
#include "common/ut/timeStamp.h"
#include "common/ut/traceClasses.h"

namespace {

constexpr int kFailed = 610;
constexpr std::size_t kMaxCatalogName = 1279;  // characters
constexpr std::size_t kMaxDirectory = 1023;
constexpr int kNoLock = 6;  // severity before set-up
constexpr int kNoSeverity = 255;
constexpr int kWarningSeverity = 5;
constexpr int kErrorOutput = 6;
constexpr int kLockMessage = 263;
constexpr char kEnglish[] = "en_US";
constexpr char kMissing[] = "KLM1111M Error retrieving message %d from kelclientV3.cat.\n";
constexpr char kSourceFile[] = "nls.cpp";

/// All that messages need, one in a process.
struct nlsObject_t {
    std::array<std::function<void(std::string_view)>, 9> output;  // by severity code
    MessageCache msgCache;
    MessageCache msgCacheEnglish;
    std::string errFileName;
    std::string langPath;     // of the language catalog that was tried last
    std::string englishFile;  // name of the English catalog
    std::string language;
    std::string buffer;  // the last notice
    std::size_t maxCached = 10;
    MessageCatalog catalog;
    MessageCatalog catalogEnglish;
    bool catalogShared = false;  // the English one serves both
    bool useEnglish = false;     // at the next lookup
    bool started = false;
    LogRecord errorLog;
    pkMutexOwner mutex;  // guards all of this; recursive, since logs ask for texts
};

/// Never destroyed: other threads may log while the process ends.
nlsObject_t& nlsObject() {
    static nlsObject_t& instance = *new nlsObject_t;
    return instance;
}

std::string fixedLanguage;

void writeOutput(const nlsObject_t& nls, std::size_t severity, std::string_view text) {
    if (nls.output[severity]) {
        nls.output[severity](text);
        return;
    }
    std::printf("%.*s", static_cast<int>(text.size()), text.data());
    std::fflush(stdout);
}

/// Appends to the error log, if it is open: 0 or 621.
int writeErrorLog(nlsObject_t& nls, const std::string& text) {
    if (!nls.errorLog.stream)
        return 0;
    std::string line = secondsStamp() + " " + text;
    if (!line.ends_with('\n'))
        line += '\n';
    return logWrite(nls.errorLog, line);
}

/// What has no number of its own: a fixed text with its line end.
void complain(nlsObject_t& nls, const std::string& text) {
    writeOutput(nls, kErrorOutput, text);
    static_cast<void>(writeErrorLog(nls, text));
}

void complainOfMessage(nlsObject_t& nls, int number, const char* problem,
                       int line = __builtin_LINE()) {
    complain(nls, "KLM9999E " + std::string(kSourceFile) + "(" + std::to_string(line) +
                      "): Message No " + std::to_string(number) + " " + problem + ".\n");
}

std::unique_ptr<NLSMsg> readMessage(nlsObject_t& nls, int number) {
    const bool english = nls.useEnglish || nls.catalogShared;
    const MessageCatalog& catalog = english ? nls.catalogEnglish : nls.catalog;
    const char* const entry = catalog.text(number, kMissing);
    if (entry == kMissing) {
        complainOfMessage(nls, number, "could not be found");
        return nullptr;
    }
    auto message = std::make_unique<NLSMsg>();
    switch (decodeMessage(entry, number, *message)) {
        case Decoded::MESSAGE:
            return message;
        case Decoded::CORRUPTED:
            complainOfMessage(nls, number, "is corrupted");
            break;
        case Decoded::RESERVED:
            break;
    }
    return nullptr;
}

/// The decoded message, valid while the lock is held; null if there is none.
const NLSMsg* GetMsg(nlsObject_t& nls, int number) {
    FoundationScope scope("GetMsg");
    MessageCache& cache = nls.useEnglish ? nls.msgCacheEnglish : nls.msgCache;
    const NLSMsg* found = cache.find(number);
    try {
        std::unique_ptr<NLSMsg> message = found ? nullptr : readMessage(nls, number);
        if (message)
            found = cache.add(std::move(message), nls.maxCached);
    } catch (const std::bad_alloc&) {
        writeOutput(nls, kErrorOutput,
                    "KLM0109E Insufficient memory for allocation of message structure.\n");
    }
    nls.useEnglish = false;
    return found;
}

std::string textOf(int number, const NlsValues& values, bool english) {
    nlsObject_t& nls = nlsObject();
    const pkMutexHolder lock(nls.mutex.get());
    if (!lock.held())
        return {};
    nls.useEnglish = english;
    const NLSMsg* const message = GetMsg(nls, number);
    std::string text;
    if (message && !formatMessage(*message, values, text)) {
        complainOfMessage(nls, number, "is corrupted");
        text.clear();
    }
    return text;
}

/// Prints without grading: what a failing lock may call.
void print(int number, const NlsValues& values) {
    const int severity = nlSeverity(number);
    const std::string text = nlMessageText(number, values);
    nlsObject_t& nls = nlsObject();
    if (text.empty() || severity >= static_cast<int>(nls.output.size()))
        return;
    writeOutput(nls, static_cast<std::size_t>(severity), text + "\n");
    const pkMutexHolder lock(nls.mutex.get());
    if (lock.held() && severity >= kWarningSeverity && severity != 8)
        static_cast<void>(writeErrorLog(nls, text));
}

/// The language that the host asks for.
std::string hostLanguage(int programType) {
    // Programs of these types have chosen their locale themselves.
    const bool chosen = programType == 4 || programType == 9;
    const char* const name = setlocale(LC_MESSAGES, chosen ? nullptr : "");
    return !name || std::strcmp(name, "C") == 0 ? kEnglish : name;
}

/// Opens the catalog of the host's language, or shares the English one.
void openLanguage(nlsObject_t& nls, const NlsSettings& settings, const std::string& file) {
    nls.language = fixedLanguage.empty() ? hostLanguage(settings.programType) : fixedLanguage;
    nls.catalogShared = nls.catalog.openCat(settings.directory, nls.language, file,
                                            settings.probes, nls.langPath) != 0;
    if (!nls.catalogShared)
        return;
    nls.language = kEnglish;
    nls.buffer = "KLM0102W Unable to open the message repository " +
                 (nls.langPath.empty() ? "???" : nls.langPath) +
                 ". The American English repository will be used instead.\n";
}

/// Gives logs their marks and their reports.
void serveLogs() {
    LogMessages messages;
    messages.text = [](int number) { return nlMessageText(number, {}); };
    messages.reportPath = [](int number, const std::string& path) {
        nlReport(number, {printable(path)});
    };
    messages.reportFailure = [](int number, const std::string& path,
                                const std::string& reason) {
        nlReport(number, {printable(path), reason});
    };
    messages.reportLines = [](int number, unsigned long lines) { nlReport(number, {lines}); };
    logUseMessages(messages);
}

}  // namespace

int nlSetUp(const NlsSettings& settings) {
    FoundationScope scope("nlSetUp");
    nlsObject_t& nls = nlsObject();
    if (nls.started)
        return 0;
    if (settings.catalog.size() > kMaxCatalogName || settings.directory.size() > kMaxDirectory)
        return kFailed;
    nls.maxCached = settings.maxCached;
    nls.errFileName = settings.errorLog;
    if (!nls.mutex)
        nls.mutex.reset(pkCreateMutex());
    if (!nls.mutex)
        return kFailed;  // all texts would be empty

    const bool agentProgram = settings.programType >= 9 && settings.programType <= 11;
    const std::string file = agentProgram ? settings.catalog : "kelclientV3.cat";
    nls.englishFile = agentProgram ? settings.englishCatalog : file;
    if (!settings.catalog.empty()) {
        nls.msgCache.flush();
        nls.msgCacheEnglish.flush();
    }
    if (nls.catalogEnglish.openCat(settings.directory, kEnglish, nls.englishFile,
                                   settings.probes, nls.langPath) != 0) {
        writeOutput(nls, kErrorOutput,
                    "KLM0101E Unable to open English message repository '" +
                        printable(settings.directory) + "/" + kEnglish + "/" + nls.englishFile +
                        "'.\n");
        nls.mutex.reset();
        return kFailed;
    }
    nls.langPath.clear();
    openLanguage(nls, settings, file);
    GlobalRC::create({nlSeverity, [](int number) { print(number, {}); }});
    serveLogs();
    nls.started = true;
    return 0;
}

void nlSetLanguage(const std::string& language) {
    fixedLanguage = language;
}

std::string nlMessageText(int number, const NlsValues& values) {
    FoundationScope scope("nlMessageText");
    return textOf(number, values, false);
}

std::string nlEnglishMessageText(int number, const NlsValues& values) {
    FoundationScope scope("nlEnglishMessageText");
    return textOf(number, values, true);
}

int nlSeverity(int number) {
    FoundationScope scope("nlSeverity");
    nlsObject_t& nls = nlsObject();
    if (!nls.mutex)
        return kNoLock;
    pkMutexHolder lock(nls.mutex.get());
    if (!lock.held())
        return kNoSeverity;
    const NLSMsg* const message = GetMsg(nls, number);
    const int severity = message ? message->severity : kNoSeverity;
    if (lock.release() == 0)
        return severity;
    trError("Unable to release NLS mutex");
    print(kLockMessage, {});
    return kNoSeverity;
}

void nlReport(int number, const NlsValues& values) {
    FoundationScope scope("nlReport");
    GlobalRC::set(number);
    print(number, values);
}

std::size_t nlLogPrintf(const NlsRecord& record, char* place, std::size_t available,
                        const NlsValues& values) {
    FoundationScope scope("nlLogPrintf");
    std::string text = nlMessageText(record.number, values);
    if ((record.flags & NlsRecord::kAddLineEnd) != 0) {
        trTrace(trNls, "adding newline character to buffer\n");
        text += '\n';
    }
    if (text.size() + 1 > available) {
        trTrace(trNls, "nlLogPrintf(): msgSize(%d) greater than avail(%d); returning.\n",
                static_cast<int>(text.size()), static_cast<int>(available));
        return 0;
    }
    std::copy_n(text.c_str(), text.size() + 1, place);
    return text.size();
}

void nlSetOutput(int severity, std::function<void(std::string_view)> output) {
    nlsObject().output.at(static_cast<std::size_t>(severity)) = std::move(output);
}

bool nlOpenErrorLog(std::uint32_t maxWrap) {
    FoundationScope scope("nlOpenErrorLog");
    nlsObject_t& nls = nlsObject();
    const pkMutexHolder lock(nls.mutex.get());
    logInit(nls.errorLog);
    logSetup(nls.errorLog, maxWrap, "", 0, 'D');
    return lock.held() && logOpen(nls.errorLog, nls.errFileName);
}

void nlClose() noexcept {
    nlsObject_t& nls = nlsObject();
    logUseMessages({});
    GlobalRC::destroy();
    logInit(nls.errorLog);
    nls.msgCache.flush();
    nls.msgCacheEnglish.flush();
    nls.catalog.close();
    nls.catalogEnglish.close();
    nls.catalogShared = nls.started = false;
    nls.mutex.reset();
}
