#include "Common/AgentArgs.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <string_view>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "Common/Component.h"
#include "Common/LogUtil.h"
#include "Common/unix/psnautil.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

constexpr std::size_t kMaxCompared = 2302;  // characters of a name that count

/// A row of the tables of commands and options; a null name ends a table.
struct TableRow {
    const char* name;  // without the "-"
    int column;        // of the matrix, or the number of a command
    int (*handler)(const char* value, AgentArgs& args);
    bool takesValue;
};

/// Cut down to the width of the field; 0 for a text that is no number.
int number(const char* text) {
    return static_cast<int>(std::strtol(text, nullptr, 10));
}

std::string unquoted(const std::string& value) {
    if (!value.starts_with('"'))
        return value;
    return value.size() < 2 ? std::string() : value.substr(1, value.size() - 2);
}

int setCommandScan(const char* /*value*/, AgentArgs& args) {
    TraceScope scope("setCommandScan");
    args.commandName = "SCAN";
    args.command = AgentArgs::kCommandScan;
    return 0;
}

int setCommandVersion(const char* /*value*/, AgentArgs& args) {
    TraceScope scope("setCommandVersion");
    args.commandName = "VERSION";
    args.command = AgentArgs::kCommandVersion;
    return 0;
}

int setAgentCom(const char* value, AgentArgs& args) {
    TraceScope scope("setAgentCom");
    static constexpr char kMissing[] = "agentCom not specified";
    const char* const comma = value ? std::strchr(value, ',') : nullptr;
    if (!comma)
        return args.missing(kMissing);

    const int readEnd = number(value);
    // The agent's end of the pipe, left open by it. Meant: a standard stream stays open,
    // or the next file of the job would take its place.
    if (readEnd > STDERR_FILENO)
        close(readEnd);

    if (comma[1] == '\0')
        return args.missing(kMissing);
    const int writeEnd = number(comma + 1);
    if (writeEnd == 0)
        return 0;
    args.agentCom = writeEnd;
    if (writeEnd == -1)
        return args.missing(kMissing);
    if (writeEnd > STDERR_FILENO)
        fcntl(writeEnd, F_SETFD, FD_CLOEXEC);  // children must not hold the pipe open
    return 0;
}

int setDebug(const char* value, AgentArgs& args) {
    TraceScope scope("setDebug");
    struct Level {
        const char* name;
        int number;
    };
    static constexpr Level kLevels[] = {
        {"MIN", 3},
        {"MID", 2},
        {"MAX", 1}
    };
    for (const Level& level : kLevels) {
        if (value && strcasecmp(value, level.name) == 0) {
            args.debug = level.name;
            args.debugLevel = level.number;
            return 0;
        }
    }
    // Meant: a missing value is an invalid one too.
    args.lastError = "Invalid debug mode";
    return AgentArgs::BAD_ARGUMENT;
}

/// A number whose field falls to -1 when the value is missing.
template <int AgentArgs::*field>
int setNumberOrNone(const char* value, AgentArgs& args, const char* missing) {
    TraceScope scope("setNumberOrNone");
    if (!value) {
        args.*field = -1;
        return args.missing(missing);
    }
    args.*field = number(value);
    return 0;
}

int setJobRunNumber(const char* value, AgentArgs& args) {
    return setNumberOrNone<&AgentArgs::jobRunNumber>(value, args, "jobRunNumber not specified");
}

int setMaxLogSize(const char* value, AgentArgs& args) {
    const int rc =
        setNumberOrNone<&AgentArgs::maxLogSize>(value, args, "maxLogSize not specified");
    if (args.maxLogSize == 0)
        args.maxLogSize = AgentArgs::kDefaultLogSize;
    return rc;
}

int setMaxNumLogs(const char* value, AgentArgs& args) {
    return setNumberOrNone<&AgentArgs::maxNumLogs>(value, args, "maxNumLogs not specified");
}

int setMaxNumRuns(const char* value, AgentArgs& args) {
    return setNumberOrNone<&AgentArgs::maxNumRuns>(value, args, "maxNumRuns not specified");
}

int setMaxNumDays(const char* value, AgentArgs& args) {
    return setNumberOrNone<&AgentArgs::maxNumDays>(value, args, "maxNumDays not specified");
}

int setServerPort(const char* value, AgentArgs& args) {
    return setNumberOrNone<&AgentArgs::serverPort>(value, args, "ServerPort not specified");
}

int setSidRunNumber(const char* value, AgentArgs& args) {
    TraceScope scope("setSidRunNumber");
    if (!value)
        return args.missing("sidRunNumber not specified");
    args.sidRunNumber = number(value);
    return 0;
}

int setReadAhead(const char* value, AgentArgs& args) {
    TraceScope scope("setReadAhead");
    if (!value)
        return args.missing("readahead not specified");
    args.readAhead = std::max(number(value), 0);
    return 0;
}

int setNfsTimeout(const char* value, AgentArgs& args) {
    TraceScope scope("setNfsTimeout");
    if (!value)
        return args.missing("nfsTimeout not specified");
    args.nfsTimeout = number(value);
    return 0;
}

int setJobName(const char* value, AgentArgs& args) {
    TraceScope scope("setJobName");
    if (!value)
        return args.missing("jobName not specified");
    args.jobName = unquoted(value);
    return 0;
}

int setProfile(const char* value, AgentArgs& args) {
    TraceScope scope("setProfile");
    if (!value)
        return args.missing("scan profile not specified");
    args.profile = unquoted(value);
    return 0;
}

int setServerName(const char* value, AgentArgs& args) {
    TraceScope scope("setServerName");
    if (!value)
        return args.missing("ServerName not specified");
    try {
        args.serverName = value;
    } catch (const std::bad_alloc&) {
        return AgentArgs::OUT_OF_MEMORY;
    }
    return 0;
}

int setServerIp(const char* value, AgentArgs& args) {
    TraceScope scope("setServerIp");
    if (!value)
        return args.missing("ServerIp not specified");
    args.serverIP = value;
    std::size_t start = 0;
    for (;;) {
        const std::size_t cut = args.serverIP.find('_', start);
        args.serverIPs.push_back(args.serverIP.substr(start, cut - start));
        if (cut == std::string::npos)
            return 0;
        start = cut + 1;
    }
}

/// True if the name, which becomes part of paths, could lead out of its directory. A "/" is
/// part of many names: it makes a folder more.
bool leadsElsewhere(std::string_view name) {
    for (std::size_t start = 0; start <= name.size();) {
        const std::size_t end = std::min(name.find('/', start), name.size());
        const std::string_view component = name.substr(start, end - start);
        if (component == "." || component == "..")
            return true;
        start = end + 1;
    }
    return false;
}

constexpr TableRow kScanCommands[] = {
    {"scan",    AgentArgs::kCommandScan,    setCommandScan,    false},
    {"version", AgentArgs::kCommandVersion, setCommandVersion, false},
    {nullptr,   0,                          nullptr,           false},
};

constexpr TableRow kScanOptions[] = {
    {"agentcom",     0,  setAgentCom,     true },
    {"debug",        1,  setDebug,        true },
    {"jobname",      2,  setJobName,      true },
    {"jobrunnumber", 3,  setJobRunNumber, true },
    {"maxlogsize",   4,  setMaxLogSize,   true },
    {"maxnumlogs",   5,  setMaxNumLogs,   true },
    {"maxnumruns",   6,  setMaxNumRuns,   true },
    {"maxnumdays",   7,  setMaxNumDays,   true },
    {"nfstimeout",   8,  setNfsTimeout,   true },
    {"serverip",     9,  setServerIp,     true },
    {"servername",   10, setServerName,   true },
    {"serverport",   11, setServerPort,   true },
    {"sidrunnumber", 12, setSidRunNumber, true },
    {"profile",      13, setProfile,      true },
    {"readahead",    14, setReadAhead,    true },
    {nullptr,        0,  nullptr,         false},
};

// One row per command, row 0 for none; a 1 allows the option of that column.
constexpr unsigned char kScanMatrix[][15] = {
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
};

/// The row whose name the word has behind its "-", in any case; null if there is none.
template <std::size_t n>
const TableRow* findRow(const TableRow (&table)[n], const std::string& word) {
    for (const TableRow& row : table) {
        if (row.name && strncasecmp(word.c_str() + 1, row.name, kMaxCompared) == 0)
            return &row;
    }
    return nullptr;
}

/// An absolute path without "//", "/./" and "/../", by its text alone: a symbolic link to
/// a program stands for itself and not for its target's directory.
std::string normalised(const std::string& path) {
    std::vector<std::string_view> components;
    const std::string_view text = path;
    for (std::size_t start = 1; start <= text.size();) {
        const std::size_t end = std::min(text.find('/', start), text.size());
        const std::string_view component = text.substr(start, end - start);
        if (component == ".." && !components.empty())
            components.pop_back();
        else if (!component.empty() && component != "." && component != "..")
            components.push_back(component);
        start = end + 1;
    }
    std::string result;
    for (const std::string_view component : components)
        result.append("/").append(component);
    return result;
}

bool isProgram(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           access(path.c_str(), X_OK) == 0;
}

std::string absolutePath(const std::string& path) {
    if (psIsAbsolutePath(path))
        return normalised(path);
    std::array<char, PATH_MAX> directory{};
    if (!getcwd(directory.data(), directory.size()))
        return {};
    return normalised(std::string(directory.data()) + "/" + path);
}

}  // namespace

AgentArgs::AgentArgs(int argumentCount, const char* const* argumentVector, int program)
    : programName(componentName(COMPONENT_SCAN)),
      argc(argumentCount),
      argv(argumentVector),
      programType(program) {
    TraceScope scope("AgentArgs::AgentArgs");
}

int AgentArgs::missing(const char* text) {
    lastError = text;
    return MISSING_VALUE;
}

int AgentArgs::parse() {
    TraceScope scope("AgentArgs::parse");
    if (programType != kProgramScan)
        return NO_COMMAND;  // the tables of the other job programs lie with them

    const bool hasCommand = argIndex < argc && readCommand() == 0;
    if (!hasCommand)
        command = kCommandScan;  // the default; the word is read once more, as an option

    int rc = readOptions();
    if (rc == SUCCESS)
        rc = checkNames();
    if (rc != SUCCESS)
        return rc;

    if (installLoc.empty())
        installLoc = programDir.empty() ? getProgramDir() : programDir;
    if (installLoc.empty()) {
        lastError = "Unable to determine install location\n";
        return NO_INSTALL_LOC;
    }
    setLogFile();
    setDataFile();
    setTraceFile();
    return SUCCESS;
}

int AgentArgs::readCommand() {
    TraceScope scope("AgentArgs::readCommand");
    currentArg = argv[argIndex];
    const TableRow* const row =
        currentArg.starts_with('-') ? findRow(kScanCommands, currentArg) : nullptr;
    if (!row)
        return NO_COMMAND;

    const char* const value = row->takesValue ? nextValue() : argv[argIndex];
    const int rc = row->handler(value, *this);
    ++argIndex;
    return rc;
}

int AgentArgs::readOptions() {
    TraceScope scope("AgentArgs::readOptions");
    while (argIndex < argc) {
        currentArg = argv[argIndex];
        const TableRow* const row =
            currentArg.starts_with('-') ? findRow(kScanOptions, currentArg) : nullptr;
        if (!row)
            return BAD_ARGUMENT;
        if (kScanMatrix[command][row->column] == 0)
            return BAD_ARGUMENT;

        const char* const value = row->takesValue ? nextValue() : argv[argIndex];
        const int rc = row->handler(value, *this);
        if (rc != 0)
            return rc;
        ++argIndex;
    }
    return SUCCESS;
}

/// Refuses names that are no names of files. The whole line has been read then, so that
/// `agentCom` is known.
int AgentArgs::checkNames() {
    TraceScope scope("AgentArgs::checkNames");
    for (const auto& [option, name] :
         {std::pair("-jobname", &jobName), std::pair("-servername", &serverName)}) {
        if (!leadsElsewhere(*name))
            continue;
        currentArg = option;
        lastError = "Invalid name";
        return BAD_ARGUMENT;
    }
    return SUCCESS;
}

/// Moves on to the option's value; null if the command line has ended.
const char* AgentArgs::nextValue() {
    ++argIndex;
    return argIndex < argc ? argv[argIndex] : nullptr;
}

const std::string& AgentArgs::getProgramDir() {
    TraceScope scope("AgentArgs::getProgramDir");
    const std::string program = findProgram();
    if (program.empty())
        return programDir;

    const std::size_t slash = program.rfind('/');
    programFile = program.substr(slash + 1);
    const std::string directory = program.substr(0, slash);
    const std::size_t parentEnd = directory.rfind('/');
    if (parentEnd != std::string::npos && directory.substr(parentEnd + 1) == "bin")
        programDir = directory.substr(0, parentEnd);
    return programDir;
}

std::string AgentArgs::findProgram() const {
    TraceScope scope("AgentArgs::findProgram");
    if (argc < 1 || !argv[0] || *argv[0] == '\0')
        return {};
    const std::string name = argv[0];
    if (psIsAbsolutePath(name))
        return normalised(name);

    const char* const variable = std::getenv("PATH");
    if (!variable)
        return {};
    const std::string_view directories = variable;
    for (std::size_t start = 0; start <= directories.size();) {
        const std::size_t end = std::min(directories.find(':', start), directories.size());
        std::string candidate(directories.substr(start, end - start));
        if (candidate.empty())
            candidate = ".";
        candidate.append("/").append(name);
        if (isProgram(candidate))
            return absolutePath(candidate);
        start = end + 1;
    }
    return {};
}

bool AgentArgs::hasRunName() const {
    return !jobName.empty() && sidRunNumber != -1 && jobRunNumber != -1;
}

std::string AgentArgs::runName(const std::string& job, int sidRun, int component, int jobRun,
                               const std::string& extension) {
    TraceScope scope("AgentArgs::runName");
    return job + "." + zeroPadded(sidRun, 4) + "_" + componentName(component) + "." +
           zeroPadded(jobRun, 8) + extension;
}

std::string AgentArgs::ownRunName(int component, const std::string& extension) const {
    TraceScope scope("AgentArgs::ownRunName");
    return runName(jobName, sidRunNumber, component, jobRunNumber, extension);
}

std::string AgentArgs::directoryBelow(const char* folder) const {
    TraceScope scope("AgentArgs::directoryBelow");
    const std::string directory = installLoc + "/" + folder + "/";
    return serverName.empty() ? directory : directory + serverName + "/";
}

/// The path of a log or trace in the directory. Old files of its kind are removed.
std::string AgentArgs::logPath(const std::string& directory, int component,
                               const std::string& extension) const {
    TraceScope scope("AgentArgs::logPath");
    LogUtil names;
    names.setMaxNumLogs(maxNumLogs);
    names.setMaxNumRuns(maxNumRuns);
    names.setMaxNumDays(maxNumDays);
    names.setMaxSize(maxLogSize);

    LogUtil::Files files;
    std::string name;
    if (hasRunName() && component != COMPONENT_AGENT) {
        files = LogUtil::getRunFilesMap(directory, jobName, componentName(component));
        names.setNewFile(true);
        name = ownRunName(component, extension);
    } else {
        files = LogUtil::getMatchingFilesMap(directory, componentName(component), extension);
        name = names.getNextLogName(directory, componentName(component), extension,
                                    extension == ".log");
    }
    names.purgeLogFiles(files, LogUtil::KEEP_LOGS);
    return directory + name;
}

void AgentArgs::setLogFile() {
    TraceScope scope("AgentArgs::setLogFile");
    // The first scan of a host runs on the agent's behalf and shares its logs.
    const bool initial = jobName.starts_with("InitialFSScan");
    logFile =
        logPath(directoryBelow("log"), initial ? COMPONENT_AGENT : COMPONENT_SCAN, ".log");
}

void AgentArgs::setDataFile() {
    TraceScope scope("AgentArgs::setDataFile");
    const std::string name = hasRunName() ? ownRunName(COMPONENT_SCAN, ".dat")
                                          : std::string(componentName(COMPONENT_SCAN)) + ".dat";
    dataFile = directoryBelow("output") + name;
}

void AgentArgs::setTraceFile() {
    TraceScope scope("AgentArgs::setTraceFile");
    if (debug.empty())
        return;
    traceFile = logPath(logFile.substr(0, logFile.rfind('/') + 1), COMPONENT_SCAN, ".trace");
}
