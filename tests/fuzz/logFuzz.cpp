#include "common/ut/LogRecord.h"
#include "common/ut/timeStamp.h"
#include "fuzz/fuzz.h"
#include "support/TempTree.h"

/// A choice of a limit, and the file of a log: what is written stands in it as whole lines,
/// the log keeps within its limit, and the next process goes on.
void fuzz(const std::string& input) {
    static const TempTree tree;
    constexpr std::uint32_t kLimits[] = {0, 512, 700, 1000, 3000};
    std::string content = input;
    const std::uint32_t limit = kLimits[takeByte(content) % std::size(kLimits)];
    tree.write("log", content);
    for (const char* const text : {" first\n", " second\n"}) {
        const std::string line = secondsStamp() + text;
        LogRecord log;
        logSetup(log, limit, "", 10000, 'D');
        require(logOpen(log, tree.path("log")), "it opens");
        require(logWrite(log, line) == 0, "it takes a line");
        require(logClose(log) == 0, "it closes");
        const std::string after = tree.read("log");
        require(holdsLine(after, line), "a line is whole");
        require(limit == 0 || after.size() <= limit, "the limit holds");
        require(limit == 0 || after.starts_with("LOGHEADERREC "), "it wraps");
    }
}
