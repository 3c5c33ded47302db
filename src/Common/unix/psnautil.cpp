#include "Common/unix/psnautil.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include "Common/unix/pssignal.h"
#include "common/unx/UniqueFd.h"
#include "common/unx/childProcess.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::chrono::seconds kPsLimit(10);
constexpr std::size_t kMostPsOutput = 4096;  // bytes

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// True if the system knows such a process; a zombie is one, a mere thread is not.
bool exists(pid_t processId) {
    if (kill(processId, 0) != 0 && errno == ESRCH)
        return false;
    // kill() finds threads, too. This does not, and fails otherwise where it is forbidden.
    const UniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, processId, 0)));
    return process || (errno != EINVAL && errno != ENOENT && errno != ESRCH);
}

/// What "ps -p" prints of a process, empty if it fails. Only its own options and no variable
/// decide what that looks like.
std::string listed(const std::string& processId) {
    TraceScope scope("listed");
    const std::string path = findProgram("ps");
    if (path.empty())
        return {};
    const char* const arguments[] = {path.c_str(), "-p", processId.c_str(), nullptr};
    char locale[] = "LC_ALL=C";
    char* const environment[] = {locale, nullptr};
    ChildProgram ps;
    ps.arguments = arguments;
    ps.environment = environment;
    ps.quiet = true;
    const ProgramOutput output = runProgram(ps, {kPsLimit, &agentStop}, kMostPsOutput);
    return output.wait == ChildWait::ENDED ? output.text : std::string();
}

bool holdsNumber(const std::string& text, const std::string& number) {
    for (std::size_t at = text.find(number); at != text.npos; at = text.find(number, at + 1)) {
        const std::size_t end = at + number.size();
        if ((at == 0 || !isDigit(text[at - 1])) && (end == text.size() || !isDigit(text[end])))
            return true;
    }
    return false;
}

/// True unless ps knows better of a process that exists. A list without any number says
/// nothing: there may be no ps, one that failed, or one of other options.
bool isConfirmed(std::int32_t processId, const char* matchText) {
    TraceScope scope("isConfirmed");
    const std::string number = std::to_string(processId);
    const std::string list = listed(number);
    if (matchText)
        trTrace(naMin, "match process %s\n", matchText);
    if (std::none_of(list.begin(), list.end(), isDigit))
        return true;
    return holdsNumber(list, number) && (!matchText || list.find(matchText) != list.npos);
}

}  // namespace

std::string getDefaultInstallLoc() {
    TraceScope scope("getDefaultInstallLoc");
    return "/opt/corvane/cvn/agent";
}

std::string stripQuotes(const std::string& text) {
    TraceScope scope("stripQuotes");
    if (text.size() <= 2 || text.front() != '"' || text.back() != '"')
        return text;
    return text.substr(1, text.size() - 2);
}

bool psFileExists(const std::string& path) {
    TraceScope scope("psFileExists");
    const std::string plain = stripQuotes(path);
    const bool exists = uninterrupted([&] { return access(plain.c_str(), F_OK); }) == 0;
    if (exists)
        trTrace(naMin, "File %s exists\n", path.c_str());
    else
        trTrace(naMin, "Files %s does not exists\n", path.c_str());
    return exists;
}

int psRemoveFile(const std::string& path) {
    TraceScope scope("psRemoveFile");
    return removeName(path.c_str()) ? 0 : errno;
}

int psFileSize(const std::string& path, std::int64_t& size) {
    TraceScope scope("psFileSize");
    struct stat status {};
    if (uninterrupted([&] { return stat(path.c_str(), &status); }) != 0)
        return errno;
    size = status.st_size;
    return 0;
}

bool psIsAbsolutePath(const std::string& path) {
    return path.starts_with('/');
}

std::string psGetTempFileName() {
    TraceScope scope("psGetTempFileName");
    std::string name;
    const UniqueFd file(uninterrupted([&name] {
        name = "/tmp/vexXXXXXX";
        return mkostemp(name.data(), O_CLOEXEC);
    }));
    if (!file)
        return {};
    trTrace(naMin, "name: %s\n", name.c_str());
    return name;
}

bool psIsProcessRunning(std::int32_t processId, const char* matchText) {
    TraceScope scope("psIsProcessRunning");
    const bool running =
        processId > 0 && exists(processId) && isConfirmed(processId, matchText);
    if (running)
        trTrace(naMin, "process with pid: %d is running\n", processId);
    else
        trTrace(naMin, "process with pid: %d is not running\n", processId);
    return running;
}

std::int64_t currentMilliseconds() {
    struct timeval now {};
    gettimeofday(&now, nullptr);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_usec / 1000;
}

std::int64_t currentSeconds() {
    return currentMilliseconds() / 1000;
}
