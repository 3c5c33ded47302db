#include "Common/comutils.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Common/Component.h"
#include "Common/unix/psnautil.h"
#include "common/unx/UniqueFd.h"
#include "common/unx/shellProcess.h"
#include "common/ut/TraceScope.h"
#include "common/ut/makeDirPath.h"

namespace {

constexpr int kSpawnFailed = 71;
constexpr int kKilled = 68;
constexpr int kWaitFailed = 74;
constexpr int kKillFailed = -1;
constexpr char kJobFileExtension[] = ".jobinfo";
constexpr int kJobFileFlags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;

bool writeWhole(const UniqueFd& file, const std::string& text) {
    return write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

/// The path of a job file with a name that no file has, in place of what is not given.
std::string inventedJobFile(int component, const AgentArgs& args) {
    TraceScope scope("inventedJobFile");
    constexpr int maxTries = 3;
    std::minstd_rand random(static_cast<std::uint32_t>(currentMilliseconds()));
    const auto orRandom = [&random](int given, unsigned below) {
        return given == -1 ? static_cast<int>(random() % below) : given;
    };
    const std::string job = args.jobName.empty() ? componentName(component) : args.jobName;
    for (int tries = 0; tries < maxTries; ++tries) {
        const int jobRun = orRandom(args.jobRunNumber, 100000);
        const int sidRun = orRandom(args.sidRunNumber, 10000);
        std::string path =
            args.directoryBelow("output") +
            AgentArgs::runName(job, sidRun, component, jobRun, kJobFileExtension);
        if (!psFileExists(path))
            return path;
        trTrace(naMin, "jobfile %s already exists\n", path.c_str());
    }
    return {};
}

/// Where the job file is to be; empty if the job gets none.
std::string jobFilePath(int component, const AgentArgs& args) {
    TraceScope scope("jobFilePath");
    if (!args.hasRunName())
        return inventedJobFile(component, args);
    trTrace(naMin, "cmdArgs.jobRunNumber is %d\n", args.jobRunNumber);
    if (args.jobRunNumber < 1)
        return {};
    return args.directoryBelow("output") + AgentArgs::runName(args.jobName, args.sidRunNumber,
                                                              component, args.jobRunNumber,
                                                              kJobFileExtension);
}

/// The text for the shell that gives this text back: an apostrophe ends the quotes, stands
/// behind a backslash, and begins them again.
std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text) {
        if (c == '\'')
            result += "'\\''";
        else
            result += c;
    }
    return result + "'";
}

/// True if a ";" stands outside double quotes.
bool isCompound(const std::string& text) {
    bool inQuotes = false;
    for (const char c : text) {
        if (c == '"')
            inQuotes = !inQuotes;
        else if (c == ';' && !inQuotes)
            return true;
    }
    return false;
}

std::string commandLine(const std::vector<std::string>& arguments, bool quote) {
    std::string line;
    for (const std::string& argument : arguments) {
        if (&argument == &arguments.front())
            line = isCompound(argument) ? argument : quoted(argument);
        else
            line += " " + (quote ? quoted(argument) : argument);
    }
    return line;
}

const char* pathOrNull(const std::string& path) {
    return path.empty() ? nullptr : path.c_str();
}

std::atomic<bool> alarmRang{false};
static_assert(std::atomic<bool>::is_always_lock_free, "it is set by a signal handler");

extern "C" void noteAlarm(int /*signalNumber*/) {
    alarmRang = true;
}

/// The alarm of a wait. Until it is stopped it rings after `limit` seconds and every
/// second from then on, so that one that rings just before the wait begins is not missed.
class Alarm {
public:
    explicit Alarm(unsigned limit) {
        alarmRang = false;
        struct sigaction note {};
        note.sa_handler = noteAlarm;  // no SA_RESTART: it has to interrupt the wait
        sigemptyset(&note.sa_mask);
        set = sigaction(SIGALRM, &note, &before) == 0;
        struct itimerval timer {};
        timer.it_value.tv_sec = static_cast<time_t>(limit);
        timer.it_interval.tv_sec = 1;
        if (set)
            setitimer(ITIMER_REAL, &timer, nullptr);
    }
    ~Alarm() { static_cast<void>(stop()); }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    [[nodiscard]] bool isSet() const { return set; }

    /// Puts timer and action back as they were; false if that failed.
    [[nodiscard]] bool stop() {
        if (!set)
            return true;
        set = false;
        const struct itimerval none {};
        setitimer(ITIMER_REAL, &none, nullptr);
        return sigaction(SIGALRM, &before, nullptr) == 0;
    }

private:
    struct sigaction before {};
    bool set = false;
};

int killProgram(pid_t child, Alarm& alarm) {
    TraceScope scope("killProgram");
    if (kill(child, SIGKILL) != 0) {
        trTrace(naMin, "Failed to send SIGKILL.\n");
        return kKillFailed;
    }
    trTrace(naMin, "SIGKILL sent\n");
    if (!alarm.stop())
        trTrace(naMin, "Error restoring old signal action");
    waitpid(child, nullptr, WNOHANG);  // it may be stuck in the system: nobody waits for it
    return kKilled;
}

/// Waits for the child until the alarm rings: 0 and its wait status, or the code of
/// WaitForExternalProgram().
int waitWithLimit(pid_t child, int& status, unsigned limit) {
    TraceScope scope("waitWithLimit");
    Alarm alarm(limit);
    if (!alarm.isSet()) {
        trTrace(naMin, "Error defining new signal action");
        return kWaitFailed;
    }
    while (waitpid(child, &status, 0) != child) {
        if (errno != EINTR)
            return kWaitFailed;
        if (alarmRang)
            return killProgram(child, alarm);
    }
    return 0;
}

int exitCodeOf(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    return WIFSIGNALED(status) ? WTERMSIG(status) : WSTOPSIG(status);
}

}  // namespace

void checkAgentDescriptor(AgentArgs& args) {
    TraceScope scope("checkAgentDescriptor");
    if (args.agentCom != -1 && fcntl(args.agentCom, F_GETFD) == -1)
        args.agentCom = -1;
}

void sendAgentStartStatus(int descriptor, char status) {
    TraceScope scope("sendAgentStartStatus");
    if (descriptor == -1)
        return;
    ssize_t written = 0;
    do {
        written = write(descriptor, &status, 1);
    } while (written < 0 && errno == EINTR);
    if (written == 1)
        trTrace(naMin, "Successfully sent status to agent: %c\n", status);
    else
        trTrace(naMin, "Failed to send status to agent: %c\n", status);
}

std::string createJobFile(int component, AgentArgs& args, int scheduled) {
    TraceScope scope("createJobFile");
    // The first job of a host comes before any result; a failure shows at the file.
    static_cast<void>(makeDirPath(args.directoryBelow("output")));
    std::string path = jobFilePath(component, args);
    if (path.empty() || psFileExists(path))
        return path;

    if (args.startTime == -1)
        args.startTime = currentSeconds();
    std::string text = "DO NOT EDIT THIS FILE MANUALLY\npid=" + std::to_string(getpid());
    if (scheduled == 0)
        text.append(" sched=").append("false");
    text += " startTime=" + std::to_string(args.startTime);

    const UniqueFd file(open(path.c_str(), kJobFileFlags | O_CREAT | O_EXCL, 0600));
    if (file && writeWhole(file, text))
        return path;
    trTrace(naMin, "Unable to create %s\n", path.c_str());
    if (file)
        unlink(path.c_str());  // half a record would mislead the agent
    return {};
}

void updateJobFile(const std::string& path, std::int32_t exitCode, std::int64_t endTime) {
    TraceScope scope("updateJobFile");
    if (!psFileExists(path)) {
        trTrace(naMin, "Unable to open %s, file does not exist.\n", path.c_str());
        return;
    }
    const std::int64_t end = endTime == -1 ? currentSeconds() : endTime;
    const UniqueFd file(open(path.c_str(), kJobFileFlags));
    if (!file || !writeWhole(file, " endTime=" + std::to_string(end) +
                                       " exitCode=" + std::to_string(exitCode)))
        trTrace(naMin, "Unable to open %s\n", path.c_str());
}

int SpawnExternalProgram(const std::vector<std::string>& arguments, ExternalProgram& program,
                         bool capture, bool quote, bool append, char* const* environment) {
    TraceScope scope("SpawnExternalProgram");
    const std::string line = commandLine(arguments, quote);
    const char* const shell[] = {"/bin/sh", "-c", line.c_str()};
    for (int i = 0; i < 3; ++i)
        trTrace(naMin, "localArgv[%d] = %s\n", i, shell[i]);
    for (std::string* const path : {&program.stdoutPath, &program.stderrPath}) {
        if (capture && path->empty())
            *path = psGetTempFileName();
    }

    ShellCommand command;
    command.text = line.c_str();
    command.stdoutPath = pathOrNull(program.stdoutPath);
    command.stderrPath = pathOrNull(program.stderrPath);
    command.append = append;
    command.environment = environment;
    const pid_t child = startShell(command);
    if (child < 0) {
        trTrace(naMin, "fork() failed, errno: %d\n", errno);
        return kSpawnFailed;
    }
    trTrace(naMin, "fork() success, pid: %d\n", child);
    program.pid = child;
    return 0;
}

int WaitForExternalProgram(const ExternalProgram& program, int& exitCode, unsigned limit) {
    TraceScope scope("WaitForExternalProgram");
    // To the system these stand for whole groups, and -1 for all processes: to wait for
    // them is wrong, and to kill them would be the end of the host.
    if (program.pid <= 0)
        return kWaitFailed;
    int status = 0;
    if (limit > 0) {
        const int rc = waitWithLimit(program.pid, status, limit);
        if (rc != 0)
            return rc;
    } else if (waitForChild(program.pid, status) != 0) {
        return kWaitFailed;
    }
    exitCode = exitCodeOf(status);
    trTrace(naMin, "exit code:%d\n", exitCode);
    return 0;
}

void cuMsgOut(const std::string& text) {
    TraceScope scope("cuMsgOut");
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}
