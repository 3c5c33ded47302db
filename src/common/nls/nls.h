#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "common/nls/NlsValue.h"

/// Messages: texts by number, in the language of the host, American English where that has
/// no catalog. The catalogs lie at `directory`/LANGUAGE/`catalog`; messageRecord.h tells
/// what stands in them. The ten messages used last are kept decoded.
///
/// Any thread, between nlSetUp() and nlClose() on the main thread; at other times texts are
/// empty and nothing is reported. A failure is told by a line "KLM...." on the error output
/// and an empty text: a job never fails because of a message.

/// What programs differ in.
struct NlsSettings {
    std::string catalog;         // file name
    std::string englishCatalog;  // file name
    std::string directory;
    std::string errorLog;  // path, for nlOpenErrorLog()
    std::size_t maxCached = 10;
    int programType = 0;
    std::vector<int> probes = {};  // messages that tell a catalog of ours from a foreign one
};

/// Opens the catalogs, and creates the record of the process's outcome (GlobalRC). Returns
/// 0, also if that was done before; 610 without an English catalog.
[[nodiscard]] int nlSetUp(const NlsSettings& settings);

/// Fixes the language for nlSetUp(), which asks the locale otherwise; empty for that.
void nlSetLanguage(const std::string& language);

/// The text of a message with its values, without a line end; empty if there is none.
[[nodiscard]] std::string nlMessageText(int number, const NlsValues& values);

/// The same in American English.
[[nodiscard]] std::string nlEnglishMessageText(int number, const NlsValues& values);

/// The severity code of a message, 0 to 8 as in messageRecord.h; 255 if it is not found, 6
/// before nlSetUp().
[[nodiscard]] int nlSeverity(int number);

/// Reports a message: to the outcome of the process, to the output of its severity, and
/// from warnings up to the error log.
void nlReport(int number, const NlsValues& values);

/// What nlLogPrintf() places where, and how.
struct NlsRecord {
    static constexpr std::uint32_t kAddLineEnd = 1;

    int number = 0;
    std::uint32_t flags = 0;
};

/// Places the text of a message at `place`, with a closing zero byte. Returns the bytes
/// used without that; 0, with nothing written, if they are more than `available`.
[[nodiscard]] std::size_t nlLogPrintf(const NlsRecord& record, char* place,
                                      std::size_t available, const NlsValues& values);

/// Replaces the output of one severity code; an empty function is standard output.
void nlSetOutput(int severity, std::function<void(std::string_view)> output);

/// Opens the error log of the settings, which wraps at so many bytes.
[[nodiscard]] bool nlOpenErrorLog(std::uint32_t maxWrap);

/// Closes catalogs and error log; harmless if they are not open.
void nlClose() noexcept;
