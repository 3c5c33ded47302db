#include "Common/CmdExecer.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>

#include "Common/unix/psnautil.h"
#include "Common/unix/pssignal.h"
#include "common/unx/childProcess.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr int kFailed = -1;
constexpr int kNoShell = 127;

/// Fills an empty path with the name of a new file; true if it did.
bool drawName(std::string& path) {
    if (!path.empty())
        return false;
    path = psGetTempFileName();
    return !path.empty();
}

std::string quotedIfBlank(const std::string& path) {
    const bool plain = path.find(' ') == std::string::npos || path.find('"') != path.npos;
    return plain ? path : "\"" + path + "\"";
}

/// In double quotes, where a backslash takes the meaning off the four characters that
/// keep one there.
std::string quoted(const std::string& argument) {
    std::string result = "\"";
    for (const char c : argument) {
        if (std::string("\"\\$`").find(c) != std::string::npos)
            result += '\\';
        result += c;
    }
    return result + "\"";
}

void traceFile(const char* format, const std::string& path) {
    TraceScope scope("traceFile");
    if (naMin == 0)
        return;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(stripQuotes(path).c_str(), "re"), std::fclose);
    std::array<char, 256> piece{};
    while (file) {
        const std::size_t length = std::fread(piece.data(), 1, piece.size() - 1, file.get());
        if (length == 0)
            break;
        piece[length] = '\0';
        trTrace(naMin, format, piece.data());
    }
}

/// Like system(): a wait status, or -1, also of a command that was killed at the limit.
int runShell(const std::string& command, unsigned limit) {
    TraceScope scope("runShell");
    const char* const arguments[] = {kShell, "-c", command.c_str(), nullptr};
    ChildProgram shell;
    shell.arguments = arguments;
    shell.ownGroup = true;
    const pid_t child = startProgram(shell);
    if (child < 0)
        return kFailed;
    int status = kFailed;
    const ChildWait wait =
        waitForChild(child, status, {std::chrono::seconds(limit), &agentStop});
    if (wait == ChildWait::ENDED)
        return status;
    if (wait != ChildWait::FAILED)
        killChildGroup(child);
    return kFailed;
}

}  // namespace

CmdExecer::CmdExecer(const std::vector<std::string>& arguments, const std::string& outPath,
                     const std::string& errPath, bool quote)
    : sysOutFile(outPath), sysErrFile(errPath) {
    TraceScope scope("CmdExecer::CmdExecer");
    if (arguments.empty()) {
        trTrace(naMin, "Nothing to execute; cmdArgs is empty.\n");
        return;
    }
    sysOutFileIsTemp = drawName(sysOutFile);
    sysErrFileIsTemp = drawName(sysErrFile);
    if (sysOutFile.empty() || sysErrFile.empty())
        return;
    sysOutFile = quotedIfBlank(sysOutFile);
    sysErrFile = quotedIfBlank(sysErrFile);
    for (const std::string& argument : arguments)
        cmdLine += (quote ? quoted(argument) : argument) + " ";
    cmdLine.append(">>").append(sysOutFile).append(" 2>>").append(sysErrFile);
}

CmdExecer::~CmdExecer() {
    TraceScope scope("CmdExecer::~CmdExecer");
    if (sysOutFileIsTemp)
        static_cast<void>(psRemoveFile(stripQuotes(sysOutFile)));
    if (sysErrFileIsTemp)
        static_cast<void>(psRemoveFile(stripQuotes(sysErrFile)));
}

int CmdExecer::execute(unsigned limit) {
    TraceScope scope("CmdExecer::execute");
    if (cmdLine.empty()) {
        trTrace(naMin, "Nothing to execute.\n");
        return kFailed;
    }
    trTrace(naMin, "Executing command: %s\n", cmdLine.c_str());
    const int status = runShell(cmdLine, limit);
    traceFile("sysOut: %s\n", sysOutFile);
    traceFile("sysErr: %s\n", sysErrFile);

    int result = status;
    if (status == kNoShell)
        result = kFailed;
    else if ((status & 0x7f) == 0)
        result = (status >> 8) & 0xff;
    trTrace(naMin, "Exit: %s, result = %d\n", "CmdExecer::execute", result);
    return result;
}
