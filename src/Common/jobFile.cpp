#include "Common/jobFile.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "Common/Component.h"
#include "Common/unix/psnautil.h"
#include "common/unx/ownFile.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"
#include "common/ut/makeDirPath.h"

namespace {

constexpr char kJobFileExtension[] = ".jobinfo";
constexpr mode_t kMode = 0600;
constexpr pid_t kNoLocks = -1;  // in place of the holder of a lock

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

/// Where the job file of a named run is to be; empty if the job gets none.
std::string jobFilePath(int component, const AgentArgs& args) {
    TraceScope scope("jobFilePath");
    trTrace(naMin, "cmdArgs.jobRunNumber is %d\n", args.jobRunNumber);
    if (args.jobRunNumber < 1)
        return {};
    return args.directoryBelow("output") + AgentArgs::runName(args.jobName, args.sidRunNumber,
                                                              component, args.jobRunNumber,
                                                              kJobFileExtension);
}

/// A process in /proc: who it is of, and what it runs.
class ProcessFacts {
public:
    explicit ProcessFacts(pid_t processId) {
        std::array<char, 32> directory{};
        std::snprintf(directory.data(), directory.size(), "/proc/%d", processId);
        const std::string path = directory.data();
        known = stat(path.c_str(), &status) == 0;
        hasProgram = stat((path + "/exe").c_str(), &program) == 0;
        std::array<char, 4096> text{};
        ssize_t length = readlink((path + "/exe").c_str(), text.data(), text.size());
        if (length > 0)
            programName =
                fileName(std::string_view(text.data(), static_cast<std::size_t>(length)));
        const UniqueFd file(openFile((path + "/comm").c_str(), O_RDONLY | O_CLOEXEC));
        length = file ? readWhole(file.get(), text.data(), text.size()) : 0;
        if (length > 0)
            command.assign(text.data(), static_cast<std::size_t>(length));
    }

    /// True if both run the same program, also if one of them has been replaced since.
    [[nodiscard]] bool isLike(const ProcessFacts& other) const {
        if (!known || !other.known || status.st_uid != other.status.st_uid)
            return false;
        if (hasProgram && other.hasProgram && program.st_dev == other.program.st_dev &&
            program.st_ino == other.program.st_ino)
            return true;
        const bool named = !programName.empty() && !other.programName.empty();
        return named ? programName == other.programName
                     : !command.empty() && command == other.command;
    }

private:
    static std::string fileName(std::string_view path) {
        static constexpr std::string_view kDeleted = " (deleted)";
        if (path.ends_with(kDeleted))
            path.remove_suffix(kDeleted.size());
        return std::string(path.substr(path.rfind('/') + 1));
    }

    struct stat status {};
    struct stat program {};
    bool known = false;
    bool hasProgram = false;
    std::string programName;
    std::string command;  // its first 15 bytes
};

/// True for a process that runs a job like this one and is another.
bool isOtherJob(pid_t processId) {
    TraceScope scope("isOtherJob");
    return processId > 0 && processId != getpid() &&
           (kill(processId, 0) == 0 || errno == EPERM) &&
           ProcessFacts(processId).isLike(ProcessFacts(getpid()));
}

/// The process that holds the lock of the file, 0 if nobody does. With `take` it is taken then.
pid_t lockHolder(int file, bool take) {
    constexpr int mostTries = 10;  // the holder may end between the two calls
    struct flock wanted {};
    wanted.l_type = F_WRLCK;
    wanted.l_whence = SEEK_SET;
    for (int tries = 0; tries < mostTries; ++tries) {
        if (take && uninterrupted([&] { return fcntl(file, F_SETLK, &wanted); }) == 0)
            return 0;
        if (take && errno != EACCES && errno != EAGAIN)
            return kNoLocks;
        struct flock found = wanted;
        if (uninterrupted([&] { return fcntl(file, F_GETLK, &found); }) != 0)
            return kNoLocks;
        if (found.l_type != F_UNLCK)
            return found.l_pid > 0 ? found.l_pid : kNoLocks;
        if (!take)
            return 0;
    }
    return kNoLocks;
}

/// The process that the text of a job file names, 0 if there is none.
pid_t processIn(const std::string& text) {
    static constexpr std::string_view kKey = "\npid=";
    const std::size_t key = text.find(kKey);
    if (key == std::string::npos)
        return 0;
    const long number = std::strtol(text.c_str() + key + kKey.size(), nullptr, 10);
    return number > 0 && number <= INT32_MAX ? static_cast<pid_t>(number) : 0;
}

std::string textOf(int file) {
    std::array<char, 4096> text{};
    const ssize_t length = readWholeAt(file, text.data(), text.size(), 0);
    return {text.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

/// The other job of this name that runs, 0 if there is none.
pid_t otherJob(pid_t holder, const std::string& text) {
    if (isOtherJob(holder))
        return holder;
    const pid_t named = processIn(text);
    return isOtherJob(named) ? named : 0;
}

/// The text of a file that another job has just made, where no lock shows that it goes on.
std::string awaitedText(int file) {
    TraceScope scope("awaitedText");
    constexpr int mostTries = 20;
    std::string text;
    for (int tries = 0; tries < mostTries && text.empty(); ++tries) {
        pauseFor(std::chrono::milliseconds(50));
        text = textOf(file);
    }
    return text;
}

bool writeStart(int file, AgentArgs& args, int scheduled) {
    TraceScope scope("writeStart");
    if (args.startTime == -1)
        args.startTime = currentSeconds();
    std::string text = "DO NOT EDIT THIS FILE MANUALLY\npid=" + std::to_string(getpid());
    if (scheduled == 0)
        text.append(" sched=").append("false");
    text += " startTime=" + std::to_string(args.startTime);
    return writeWhole(file, text);
}

}  // namespace

JobFile createJobFile(int component, AgentArgs& args, int scheduled) {
    TraceScope scope("createJobFile");
    // The first job of a host comes before any result; a failure shows at the file.
    static_cast<void>(makeDirPath(args.directoryBelow("output")));
    JobFile job;
    job.path =
        args.hasRunName() ? jobFilePath(component, args) : inventedJobFile(component, args);
    if (job.path.empty())
        return job;

    constexpr int flags = O_RDWR | O_APPEND;
    job.file = openOwnFile(job.path.c_str(), flags | O_CREAT | O_EXCL, kMode);
    const bool created = static_cast<bool>(job.file);
    if (!created)
        job.file = openOwnFile(job.path.c_str(), flags, kMode);
    if (!job.file) {
        trTrace(naMin, "Unable to create %s\n", job.path.c_str());
        return psFileExists(job.path) ? std::move(job) : JobFile();
    }

    const pid_t holder = lockHolder(job.file.get(), true);
    std::string text = textOf(job.file.get());
    if (text.empty() && !created && holder == kNoLocks)
        text = awaitedText(job.file.get());
    if (const pid_t other = otherJob(holder, text); other != 0)
        return {{}, {}, other};
    // An empty file is what a job leaves that was killed right here.
    if (!text.empty() || writeStart(job.file.get(), args, scheduled))
        return job;
    trTrace(naMin, "Unable to create %s\n", job.path.c_str());
    static_cast<void>(removeName(job.path.c_str()));  // half a record would mislead the agent
    return {};
}

void updateJobFile(const JobFile& jobFile, std::int32_t exitCode,
                   std::int64_t endTime) noexcept {
    TraceScope scope("updateJobFile");
    if (!jobFile.file || !isAtPath(jobFile.file.get(), jobFile.path.c_str())) {
        trTrace(naMin, "Unable to open %s, file does not exist.\n", jobFile.path.c_str());
        return;
    }
    const std::int64_t end = endTime == -1 ? currentSeconds() : endTime;
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), " endTime=%lld exitCode=%d",
                  static_cast<long long>(end), exitCode);
    if (!writeWhole(jobFile.file.get(), text.data()))
        trTrace(naMin, "Unable to open %s\n", jobFile.path.c_str());
}

std::int32_t runningJob(int component, const AgentArgs& args) {
    TraceScope scope("runningJob");
    const std::string path = args.hasRunName() ? jobFilePath(component, args) : "";
    const UniqueFd file = path.empty() ? UniqueFd() : openRegular(path.c_str(), O_RDONLY);
    return file ? otherJob(lockHolder(file.get(), false), textOf(file.get())) : 0;
}
