#include "Scan/unix/PlexSnapshot.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <string_view>
#include <sys/wait.h>

#include "Common/unix/pssignal.h"
#include "Probe/Mounts.h"
#include "common/unx/childProcess.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr char kUsualName[] = ".snapshots";
constexpr std::chrono::seconds kUsualLimit(60);
constexpr std::size_t kMostOutput = 4096;  // bytes; the answer is a line with one name

/// The device of what is mounted there now: the last row of the place; empty if none is.
std::string deviceAt(const std::string& mountPath, const std::string& mountTable) {
    TraceScope scope("deviceAt");
    std::string device;
    Mounts table(mountTable);
    if (table.openMnttab()) {
        while (table.nextMount()) {
            if (table.mountPoint == mountPath)
                device = table.device;
        }
    }
    return device;
}

/// Who mounts names the device. Of any name only one that is nothing else to the tool, such
/// as an option, is passed on.
bool isDeviceName(std::string_view name) {
    constexpr std::string_view allowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:+-";
    return !name.empty() && name.front() != '-' &&
           name.find_first_not_of(allowed) == std::string_view::npos;
}

/// The first line that the tool prints of the device; empty if it fails.
std::string askTool(const std::string& tool, const std::string& device,
                    std::int32_t nfsTimeout) {
    TraceScope scope("askTool");
    const char* const arguments[] = {tool.c_str(), device.c_str(), "-q", nullptr};
    trTrace(naMin, "Executing command: %s\n", (tool + " " + device + " -q").c_str());
    ChildProgram program;
    program.arguments = arguments;
    program.quiet = true;
    const auto limit = nfsTimeout > 0 ? std::chrono::seconds(nfsTimeout) : kUsualLimit;
    const ProgramOutput output = runProgram(program, {limit, &agentStop}, kMostOutput);
    const bool ended = output.wait == ChildWait::ENDED;
    const bool exited = ended && WIFEXITED(output.status);
    trTrace(naMin, "sysOut: %s\n", output.text.c_str());
    trTrace(naMin, "Exit: %s, result = %d\n", "askTool",
            exited ? WEXITSTATUS(output.status) : output.status);
    return ended ? output.text.substr(0, output.text.find('\n')) : std::string();
}

/// The name in the tool's answer: it begins with the first "." and ends before the
/// character, a quote, that is before that. Empty if there is none.
std::string nameIn(const std::string& line) {
    const std::size_t start = line.find('.');
    if (start == std::string::npos || start == 0)
        return {};
    const std::size_t end = line.find(line[start - 1], start);
    if (end == std::string::npos)
        return {};
    const std::string name = line.substr(start, end - start);
    const bool isEntry = name != "." && name != ".." && name.find('/') == std::string::npos;
    return isEntry ? name : std::string();
}

}  // namespace

std::string plexSnapshotDirectory(const std::string& mountPath, std::int32_t nfsTimeout,
                                  const PlexSnapshotSource& source) {
    TraceScope scope("plexSnapshotDirectory");
    std::string name;
    try {
        const std::string device = deviceAt(mountPath, source.mountTable);
        if (isDeviceName(device))
            name = nameIn(askTool(source.tool, device, nfsTimeout));
        else
            trTrace(naMin, "no usable device at %s: %s\n", mountPath.c_str(), device.c_str());
    } catch (const std::exception&) {
        name.clear();  // the same as a tool that does not answer
    }
    return mountPath + "/" + (name.empty() ? kUsualName : name);
}
