#include "Scan/unix/PlexSnapshot.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <fstream>

#include "Common/CmdExecer.h"
#include "common/ut/TraceScope.h"

namespace {

bool isHarmless(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           std::string("_./+-").find(c) != std::string::npos;
}

/// The first line that the tool prints; empty if it fails.
std::string askTool(const std::string& mountPath, const std::string& tool) {
    TraceScope scope("askTool");
    CmdExecer command({"/bin/sh", "-c",
                       "\"" + tool + " `mount | grep [[:space:]]" + mountPath +
                           "[[:space:]] | awk '{print $1}'` -q\""},
                      "", "", false);
    std::string line;
    if (command.execute() != -1) {
        std::ifstream output(command.getSysOutFile());
        std::getline(output, line);
    }
    return line;
}

/// The name in the tool's answer: it begins with the first "." and ends before the
/// character, a quote, that stands before that. Empty if there is none.
std::string nameIn(const std::string& line) {
    const std::size_t start = line.find('.');
    if (start == std::string::npos || start == 0)
        return {};
    const std::size_t end = line.find(line[start - 1], start);
    return end == std::string::npos ? std::string() : line.substr(start, end - start);
}

}  // namespace

std::string plexSnapshotDirectory(const std::string& mountPath, const std::string& tool) {
    TraceScope scope("plexSnapshotDirectory");
    std::string name;
    try {
        if (std::all_of(mountPath.begin(), mountPath.end(), isHarmless))
            name = nameIn(askTool(mountPath, tool));
    } catch (const std::exception&) {
        name.clear();  // the same as a tool that does not answer
    }
    return mountPath + "/" + (name.empty() ? ".snapshots" : name);
}
