#pragma once

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "e2e/ScanRun.h"
#include "support/CallTracer.h"
#include "support/TempTree.h"

/// A number of the environment, by which a script asks for more than a test.
inline int setting(const char* name, int otherwise) {
    const char* const value = std::getenv(name);
    return value ? std::atoi(value) : otherwise;
}

/// A row of a result, strictly read.
struct ResultRow {
    std::string entity;
    std::vector<std::string> cells;
};

/// Reads a result as one who trusts nobody: header, entities closed in order, rows of the
/// header's width, all of it quoted as it should be. Throws std::runtime_error with the first
/// departure. The beginning of a result, if not `whole`, ends at the end of some line.
std::vector<ResultRow> readResult(const std::string& text, bool whole);

/// The first line that no log has; empty if the log is good.
std::string badLogLine(const std::string& log);

/// What one run of the job meets, and which promises it may not keep.
struct Situation {
    std::size_t mode = 0;  // of FaultJob::kModes
    Fault fault = {};
    std::function<void()> inChild = {};  // in the process before the program starts
    bool traced = true;                  // system calls are followed
    bool notTold = false;                // the agent can neither be told nor left a note
    bool otherRows = false;              // rows cannot be compared
};

/// A small job with all statistics, a filter, monitored directories, some owners and hard
/// links, and the promises that it keeps whatever fails. Needs root.
class FaultJob {
public:
    struct Mode {
        const char* name;
        std::vector<std::string> arguments;
    };
    static const std::vector<Mode> kModes;

    FaultJob();

    /// Runs the job once, and once more with nothing in its way. Says which promises were
    /// broken, a line each; empty if none.
    std::string broken(const Situation& situation);

    /// Runs the job with nothing in its way; true if its result is as it should be.
    bool runsClean(std::size_t mode);

    ScanRun run;
    std::map<long, int> calls;  // of the last run
    bool struck = false;        // the fault was met in the last run

private:
    void start(const Situation& situation);
    [[nodiscard]] std::string brokenNow(const Situation& situation) const;
    [[nodiscard]] std::string agentBroken() const;
    [[nodiscard]] std::string resultBroken(const Situation& situation) const;

    TempTree tree;
    std::unique_ptr<TestMount> mount;
    std::string definition;
    std::vector<std::string> truth;  // the result of each mode
    bool late = false;
    std::string strays;
    std::string where;
};
