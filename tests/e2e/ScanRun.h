#pragma once

#include <functional>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

#include "support/TempTree.h"

/// One run of the program in an install tree of its own, and what it left behind.
///
///     ScanRun run;
///     run.define(requestFor({{1, mount}}));
///     run.start();
///     EXPECT_EQ(0, run.exitCode);
///     EXPECT_EQ("7", run.value("SSummary", "sumFileCount"));
class ScanRun {
public:
    ScanRun();

    /// Stores the definition of the job "job", schedule run 3, run 5, server "srv".
    void define(const std::string& text) const;

    /// Runs the job with `more` behind its usual arguments, and waits for it.
    void start(const std::vector<std::string>& more = {});

    /// Runs the program with exactly these arguments.
    void startPlain(const std::vector<std::string>& arguments);

    [[nodiscard]] std::string log() const { return tree.read(kLog); }
    [[nodiscard]] std::string result() const { return tree.read(kResult); }
    [[nodiscard]] bool hasLog() const { return tree.exists(kLog); }
    [[nodiscard]] bool hasResult() const { return tree.exists(kResult); }
    [[nodiscard]] bool hasDefinition() const { return tree.exists(kDefinition); }

    /// The identifiers of the log's messages in order, joined with blanks.
    [[nodiscard]] std::string logged() const;

    /// All rows of an entity of the result, column by column.
    using Record = std::map<std::string, std::string>;
    [[nodiscard]] std::vector<Record> records(const std::string& entity) const;

    /// A value of the first row of an entity; empty if there is none.
    [[nodiscard]] std::string value(const std::string& entity, const std::string& column) const;

    /// What the job left with others, each with a blank before: "Resource=scan_1" for a lock,
    /// "-exitCode 8" as the agent was told it, "-jobendtimestamp" if that had no time, and
    /// "exitCode=8" as it stands in the job file.
    [[nodiscard]] std::string neighbours() const;

    static constexpr char kResources[] = "log/vex_scan_res";
    static constexpr char kJobFile[] = "output/srv/job.0003_scan.00000005.jobinfo";
    static constexpr char kDefinition[] = "input/srv/job.0003_scan.00000005.dat";
    static constexpr char kResult[] = "output/srv/job.0003_scan.00000005.dat";
    static constexpr char kLog[] = "log/srv/job.0003_scan.00000005.log";

    TempTree tree;                            // the install tree
    int agentAnswer = 1;                      // exit code of the agent's notify program
    bool keepsLocks = false;                  // those that earlier runs left stay
    std::function<void()> inChild;            // called in the process before it starts
    std::function<void(pid_t)> whileRunning;  // called once the process has started
    int exitCode = -1;   // of the process; 128 and a signal number if it was killed
    std::string output;  // standard output
    std::string status;  // what the job wrote to the agent's pipe
};

/// A file system of a request.
struct RequestedFilesystem {
    int id;
    std::string mountPoint;
    std::string children = {};  // entities within
};

/// A definition that asks for the built-in summary (statistic 100) of the file systems;
/// `more` stands behind it.
std::string requestFor(const std::vector<RequestedFilesystem>& filesystems,
                       const std::string& more = {});

/// A file of tests/data.
std::string dataFile(const std::string& name);
