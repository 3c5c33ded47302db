#include "Common/comutils.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Common/unix/psnautil.h"
#include "common/unx/childProcess.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr int kSpawnFailed = 71;
constexpr int kKilled = 68;
constexpr int kWaitFailed = 74;
constexpr int kKillFailed = -1;

/// Adds the text for the shell that gives this text back: an apostrophe ends the quotes, is
/// preceded by a backslash, and begins them again.
void appendQuoted(std::string& line, std::string_view text) {
    line += '\'';
    for (const char c : text) {
        if (c == '\'')
            line += "'\\''";
        else
            line += c;
    }
    line += '\'';
}

/// True if a ";" stands outside double quotes.
bool isCompound(std::string_view text) {
    bool inQuotes = false;
    for (const char c : text) {
        if (c == '"')
            inQuotes = !inQuotes;
        else if (c == ';' && !inQuotes)
            return true;
    }
    return false;
}

const char* pathOrNull(const std::string& path) {
    return path.empty() ? nullptr : path.c_str();
}

int killProgram(pid_t child) {
    TraceScope scope("killProgram");
    if (kill(child, SIGKILL) != 0) {
        trTrace(naMin, "Failed to send SIGKILL.\n");
        return kKillFailed;
    }
    trTrace(naMin, "SIGKILL sent\n");
    waitpid(child, nullptr, WNOHANG);  // it may be stuck in the system: nobody waits for it
    return kKilled;
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
    if (writeWhole(descriptor, std::string_view(&status, 1)))
        trTrace(naMin, "Successfully sent status to agent: %c\n", status);
    else
        trTrace(naMin, "Failed to send status to agent: %c\n", status);
}

void addToCommand(std::string& command, std::string_view argument, bool quote) {
    const bool program = command.empty();
    if (!program)
        command += ' ';
    if (program ? isCompound(argument) : !quote)
        command += argument;
    else
        appendQuoted(command, argument);
}

int SpawnCommand(const std::string& command, ExternalProgram& program, bool append,
                 char* const* environment) {
    TraceScope scope("SpawnCommand");
    const char* const shell[] = {kShell, "-c", command.c_str(), nullptr};
    for (int i = 0; i < 3; ++i)
        trTrace(naMin, "localArgv[%d] = %s\n", i, shell[i]);
    ChildProgram child;
    child.arguments = shell;
    child.stdoutPath = pathOrNull(program.stdoutPath);
    child.stderrPath = pathOrNull(program.stderrPath);
    child.append = append;
    child.environment = environment;
    const pid_t started = startProgram(child);
    if (started < 0) {
        trTrace(naMin, "fork() failed, errno: %d\n", errno);
        return kSpawnFailed;
    }
    trTrace(naMin, "fork() success, pid: %d\n", started);
    program.pid = started;
    return 0;
}

int SpawnExternalProgram(const std::vector<std::string>& arguments, ExternalProgram& program,
                         bool capture, bool quote, bool append, char* const* environment) {
    TraceScope scope("SpawnExternalProgram");
    std::string command;
    for (const std::string& argument : arguments)
        addToCommand(command, argument, quote);
    for (std::string* const path : {&program.stdoutPath, &program.stderrPath}) {
        if (capture && path->empty())
            *path = psGetTempFileName();
    }
    return SpawnCommand(command, program, append, environment);
}

int WaitForExternalProgram(const ExternalProgram& program, int& exitCode, unsigned limit) {
    TraceScope scope("WaitForExternalProgram");
    // To the system these stand for whole groups, and -1 for all processes: to wait for
    // them is wrong, and to kill them would be the end of the host.
    if (program.pid <= 0)
        return kWaitFailed;
    int status = 0;
    const ChildWait wait = waitForChild(program.pid, status, {std::chrono::seconds(limit)});
    if (wait == ChildWait::TIMED_OUT)
        return killProgram(program.pid);
    if (wait != ChildWait::ENDED)
        return kWaitFailed;
    exitCode = exitCodeOf(status);
    trTrace(naMin, "exit code:%d\n", exitCode);
    return 0;
}

void cuMsgOut(const std::string& text) {
    TraceScope scope("cuMsgOut");
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}
