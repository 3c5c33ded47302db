#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What a job program is asked to do: its command line, read once.
///
/// getProgramDir() comes first, since the message catalogs lie below that directory; then
/// parse() fills the object and leaves the names of the job's files ready. Main thread.
class AgentArgs {
public:
    /// Codes of parse().
    enum Code : int {
        SUCCESS = 0,
        NO_COMMAND = 2,    // the word is no command
        BAD_ARGUMENT = 3,  // no option, not allowed here, or a bad value
        NOT_ABSOLUTE = 5,  // a path value is not absolute; no option of scan has one
        MISSING_VALUE = 6,
        NO_INSTALL_LOC = 59,
        OUT_OF_MEMORY = 102,
    };

    /// The number of `scan` among the job programs; it selects tables, catalogs and trace.
    static constexpr int kProgramScan = 9;

    static constexpr int kCommandScan = 1;
    static constexpr int kCommandVersion = 2;
    static constexpr int kDefaultLogSize = 1024;  // kilobytes

    /// Keeps `argumentVector`, which must outlive the object.
    AgentArgs(int argumentCount, const char* const* argumentVector, int program);

    /// Reads the command line: a Code. After a failure `lastError` holds its text and
    /// `currentArg` the option in question.
    [[nodiscard]] int parse();

    /// The directory above the "bin" in which the program lies, found through its name or
    /// PATH and made absolute by text alone; empty if it lies elsewhere or was not found.
    const std::string& getProgramDir();

    /// True if the job's name and both run numbers are given.
    [[nodiscard]] bool hasRunName() const;

    /// The name of a file of a run, "job.0001_scan.00000002" and the extension.
    [[nodiscard]] static std::string runName(const std::string& job, int sidRun, int component,
                                             int jobRun, const std::string& extension);

    /// The folder below the install location, one deeper for a server, with a "/" at its
    /// end.
    [[nodiscard]] std::string directoryBelow(const char* folder) const;

    /// Notes a missing value: sets `lastError` and gives the code.
    int missing(const char* text);

    int commType = 2;    // of other job programs, like all fields so marked
    int agentPort = -1;  // of other job programs
    int serverPort = -1;
    int maxLogSize = kDefaultLogSize;  // kilobytes, for logs and traces
    int maxNumLogs = 8;
    int maxNumRuns = 5;
    int maxNumDays = 90;
    int jobRunNumber = -1;
    int sidRunNumber = -1;
    int agentCom = -1;       // descriptor that takes the start status; not owned
    std::string jobName;     // neither name has a component "." or ".."
    std::string serverName;  // also a directory below log, input and output
    std::string debug;       // "MIN", "MID", "MAX" or empty
    std::string logFile;
    std::string passPhrase;               // of other job programs
    bool passPhraseIsEnciphered = false;  // of other job programs
    std::string programName;
    std::string commandName;  // "SCAN", "VERSION"; empty if no command was given
    bool noSanCalls = true;   // of other job programs
    bool skipAutofs = false;  // of other job programs
    bool toggleCode = false;  // of other job programs
    std::string hints;        // of other job programs
    std::string installLoc;   // without a trailing "/"
    std::string dataFile;
    std::string traceFile;  // empty without -debug
    std::string programDir;
    std::string debugFile;               // of other job programs
    std::vector<std::string> serverIPs;  // `serverIP` cut at each "_"
    std::string serverIP;
    std::string programFile;  // last component of the program's path
    std::string currentArg;   // the argument being read
    int debugLevel = 0;       // 0 none, 1 MAX, 2 MID, 3 MIN
    std::string profile;
    int command = 0;     // kCommandScan or kCommandVersion
    int nfsTimeout = 0;  // seconds, 0 for none
    int readAhead = 0;   // helper threads of a walk, 0 to read on the scan thread alone
    std::string lastError;
    std::int64_t startTime = -1;  // seconds since the epoch
    std::int64_t endTime = -1;    // seconds; nobody sets it, -1 stands for now

private:
    [[nodiscard]] int readCommand();
    [[nodiscard]] int readOptions();
    [[nodiscard]] int checkNames();
    [[nodiscard]] const char* nextValue();
    [[nodiscard]] std::string findProgram() const;
    [[nodiscard]] std::string ownRunName(int component, const std::string& extension) const;
    [[nodiscard]] std::string logPath(const std::string& directory, int component,
                                      const std::string& extension) const;
    void setLogFile();
    void setDataFile();
    void setTraceFile();

    const int argc;
    const char* const* const argv;  // not owned
    int argIndex = 1;               // of the argument to be read next
    const int programType;
};
