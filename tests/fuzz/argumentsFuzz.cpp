#include <filesystem>
#include <set>
#include <sstream>

#include "Common/AgentArgs.h"
#include "fuzz/fuzz.h"
#include "support/TempTree.h"

/// A command line, a word on each line: it is refused with a code of its own, or all files
/// that it names lie in the install tree.
void fuzz(const std::string& input) {
    static const TempTree tree;
    std::vector<std::string> words = {tree.path("bin/scan")};
    std::istringstream lines(input);
    for (std::string line; std::getline(lines, line);)
        words.push_back(line);
    std::vector<const char*> argv;
    for (const std::string& word : words)
        argv.push_back(word.c_str());
    AgentArgs args(static_cast<int>(argv.size()), argv.data(), AgentArgs::kProgramScan);
    const int rc = args.parse();
    require(std::set{0, 2, 3, 6, 59, 102}.contains(rc), "a code of its own");
    if (rc != 0)
        return;
    for (const std::string& name : {args.logFile, args.traceFile, args.dataFile}) {
        const std::string place = std::filesystem::path(name).lexically_normal();
        require(name.empty() || place.starts_with(tree.root() + "/"), "below the install tree");
    }
    require(args.debugLevel >= 0 && args.debugLevel <= 3 && args.readAhead >= 0, "in bounds");
}
