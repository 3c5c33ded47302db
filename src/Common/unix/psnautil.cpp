#include "Common/unix/psnautil.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/unx/UniqueFd.h"
#include "common/unx/shellProcess.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr int kNotFound = 127;  // exit code of a shell that finds no such command

/// Runs a command and gathers what it prints: its wait status, or -1.
int runAndRead(const std::string& command, std::string& output) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return -1;
    const UniqueFd readEnd(ends[0]);
    UniqueFd writeEnd(ends[1]);

    ShellCommand shell;
    shell.text = command.c_str();
    shell.stdoutDescriptor = writeEnd.get();
    const pid_t child = startShell(shell);
    writeEnd.reset();  // the child alone holds it now, so that its end is the pipe's end
    if (child < 0)
        return -1;

    std::array<char, 257> piece{};
    for (;;) {
        const ssize_t length = read(readEnd.get(), piece.data(), piece.size());
        if (length > 0)
            output.append(piece.data(), static_cast<std::size_t>(length));
        else if (length == 0 || errno != EINTR)
            break;
    }
    int status = -1;
    return waitForChild(child, status) == 0 ? status : -1;
}

bool isListed(std::int32_t processId, const char* matchText) {
    const std::string digits = std::to_string(processId);
    std::string output;
    const int status = runAndRead("ps -p " + digits, output);
    // A host without the command must not make every lock look abandoned.
    const bool unknown =
        status == -1 || (WIFEXITED(status) && WEXITSTATUS(status) == kNotFound);
    if (unknown && output.empty() && !matchText)
        return kill(processId, 0) == 0 || errno == EPERM;

    if (matchText) {
        trTrace(naMin, "match process %s\n", matchText);
        if (output.find(matchText) == std::string::npos)
            return false;
    }
    // The head line holds no digits, and there is a row for a living process alone.
    return output.find(digits) != std::string::npos;
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
    const bool exists = access(stripQuotes(path).c_str(), F_OK) == 0;
    if (exists)
        trTrace(naMin, "File %s exists\n", path.c_str());
    else
        trTrace(naMin, "Files %s does not exists\n", path.c_str());
    return exists;
}

int psRemoveFile(const std::string& path) {
    TraceScope scope("psRemoveFile");
    return unlink(path.c_str()) == 0 ? 0 : errno;
}

int psFileSize(const std::string& path, std::int64_t& size) {
    TraceScope scope("psFileSize");
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return errno;
    size = status.st_size;
    return 0;
}

bool psIsAbsolutePath(const std::string& path) {
    return path.starts_with('/');
}

std::string psGetTempFileName() {
    TraceScope scope("psGetTempFileName");
    std::string name = "/tmp/vexXXXXXX";
    const UniqueFd file(mkostemp(name.data(), O_CLOEXEC));
    if (!file)
        return {};
    trTrace(naMin, "name: %s\n", name.c_str());
    return name;
}

bool psIsProcessRunning(std::int32_t processId, const char* matchText) {
    TraceScope scope("psIsProcessRunning");
    const bool running = processId > 0 && isListed(processId, matchText);
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
