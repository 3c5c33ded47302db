#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Common/Object.h"
#include "Common/jobFile.h"

struct MessageId;
class AgentArgs;
class AgentScan;
class Filesystem;
class FilesystemScan;
class GenericPrint;

/// Takes one job from the command line to its exit: the order of all steps, the ladder of
/// failure handlers, the return code, and the word to the agent at the end. One object per
/// process, on the main thread.
///
/// Return codes; above 7 the result file is not to be trusted and is removed:
///
///     0            success
///     4            something was skipped and reported
///     2 3 5 6 59 102  a bad command line (see AgentArgs)
///     8            a file system is locked, the run is under way already, the scan was told to
///                  stop, or the job broke
///     9            the result file could not be written
///     12           nothing to scan, or no path of a definition
///     13 17 31 321 325  an unusable definition (see GenericException.h)
///     30           the trace could not be opened
///     72           no program directory, or no message catalogs
///
/// A job that breaks, for want of memory or by a fault, leaves startScan() as the exception
/// that it is, and no result: the locks are given back and the agent has been told 8, once. All
/// of this works without memory (see ReserveUse). Nothing is raised after the agent was told.
class ExecScan : public Object {
public:
    ExecScan();
    ~ExecScan() override;
    ExecScan(const ExecScan&) = delete;
    ExecScan& operator=(const ExecScan&) = delete;

    /// Runs the job and returns its code. Ends the process itself where the job cannot
    /// start. What is raised is unexpected, see above; whoever catches it ends with 8.
    [[nodiscard]] std::int32_t startScan(int argc, const char* const* argv);

private:
    void setUpServices();
    void readCommandLine();
    void startJob();
    void runJob();
    void leaveToOther();
    void abandonJob(const MessageId& why, const char* reason) noexcept;
    void giveUpResult(const MessageId& why, const char* reason) noexcept;
    [[nodiscard]] std::unique_ptr<AgentScan> loadDefinition(const std::string& path);
    [[noreturn]] void failDefinition(std::int32_t code);
    [[nodiscard]] bool scanAndWrite(AgentScan& request);
    void writeResults(AgentScan& request);
    void lock(const Filesystem* head);
    void unlock();
    static void removeDefinition(const std::string& path) noexcept;
    static void logFilesystemList(const Filesystem* head);
    void setStartTime();
    void setEndTime();
    [[nodiscard]] static std::string definitionPath(const AgentArgs& args);
    void tellAgent();
    [[nodiscard]] int notifyAgent(std::int32_t code, const AgentArgs& args) const;
    [[nodiscard]] std::vector<std::string> notifyArguments(std::int32_t code,
                                                           const AgentArgs& args) const;
    void cleanUp();
    [[noreturn]] void cleanAndExit();

    std::unique_ptr<FilesystemScan> fsScan;      // null until the definition is loaded
    std::unique_ptr<GenericPrint> genericPrint;  // null until the definition is loaded
    std::string logPath;
    std::string nlsDir;
    std::int32_t returnCode = 0;
    std::string catalogName;
    bool messagesOpen = false;
    bool traceOpen = false;
    std::string jobStartTime;  // seconds since the epoch, decimal
    std::string jobEndTime;    // the same; empty if the job ended too early
    std::unique_ptr<AgentArgs> cmdArgs;
    std::vector<std::string> lockNames;  // held by this process, in the order taken
    JobFile jobFile;
    bool started = false;    // the agent has seen the job start
    bool agentTold = false;  // of its end
};
