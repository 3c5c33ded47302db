#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

#include "Common/Component.h"
#include "Common/jobFile.h"
#include "fuzz/fuzz.h"
#include "support/TempTree.h"

namespace {

/// Another process of this program, for as long as this one lives.
pid_t otherOfThisProgram() {
    const pid_t child = fork();
    if (child != 0)
        return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;)
        pause();
}

}  // namespace

/// The job file of an earlier run, in which "@" stands for a process of this program: another
/// job runs if it names one, otherwise the file stays, and the end is added to it.
void fuzz(const std::string& input) {
    static const TempTree tree;
    static const pid_t other = otherOfThisProgram();
    static const std::string name = "output/job.0001_scan.00000001.jobinfo";
    std::string text = input;
    for (std::size_t at = 0; (at = text.find('@', at)) != std::string::npos;)
        text.replace(at, 1, std::to_string(other));
    tree.mkdirp("output");
    tree.write(name, text);
    AgentArgs args(0, nullptr, AgentArgs::kProgramScan);
    args.installLoc = tree.root();
    args.jobName = "job";
    args.sidRunNumber = args.jobRunNumber = 1;

    const std::size_t key = text.find("\npid=");
    const std::string named = text.substr(key == std::string::npos ? text.size() : key + 5);
    const bool runs = std::strtol(named.c_str(), nullptr, 10) == other;
    require(runningJob(COMPONENT_SCAN, args) == (runs ? other : 0), "who runs it");
    const JobFile job = createJobFile(COMPONENT_SCAN, args, 1);
    require(job.runningProcess == (runs ? other : 0), "the same for a new job");
    updateJobFile(job, 8, 7);
    const std::string after = tree.read(name);
    require(runs ? after == text : after.starts_with(text), "nothing is lost");
    require(runs || after.ends_with(" endTime=7 exitCode=8"), "the end is added");
}
