#include "e2e/FaultJob.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace {

constexpr int kTimeLimit = 20;  // seconds, where others build beside us
constexpr char kDefinition[] =
    R"([Header]
[AgentScan]
asJobName,asScanningCompID
[Filesystem]
fsID,fsMountPoint
[MonDirSpec]
mdsID,mdsPath
[CuStatDef]
sdID,sdName,sdType,sdLargestDirectories,sdLargestFiles,sdLeastAccessed,sdOldestNotBackedUp,)"
    R"(sdLargestOrphans,sdOldestOrphans,sdLargestFileTypes,sdSummary,sdSizeDistribution,)"
    R"(sdGroupByOwner,sdGroupByGroup,sdGroupByAccess,sdGroupByMod,sdGroupByCreation,sdGroupByBackup,)"
    R"(sdWhereClause
[/Header]
[AgentScan]
"job",42
[Filesystem]
1,"@"
[/Filesystem]
[MonDirSpec]
11,"@/mon*"
[/MonDirSpec]
[CuStatDef]
100,"builtin",3,0,0,0,0,0,0,0,Y,N,N,N,N,N,N,N,null
[/CuStatDef]
[CuStatDef]
200,"all",1,2,2,2,2,2,2,2,Y,Y,Y,Y,Y,Y,Y,Y,null
[/CuStatDef]
[CuStatDef]
300,"some",1,2,2,2,2,2,2,2,Y,Y,Y,Y,Y,Y,Y,Y,"61,70,37,47,42,46,116,120,116,0"
[/CuStatDef]
[CuStatDef]
400,"inside",0,2,2,2,2,2,2,2,Y,Y,Y,Y,Y,Y,Y,Y,null
[/CuStatDef]
[/AgentScan]
)";

void fill(const TempTree& tree) {
    int made = 0;
    for (const std::string directory : {"", "/mona", "/monb/c", "/d/e/f/g", "/d/other"}) {
        tree.mkdirp("m" + directory);
        for (const char* const name : {"/one.txt", "/two.dat", "/three", "/b c.TXT"}) {
            const std::string path = "m" + directory + name;
            tree.touch(path, static_cast<std::size_t>(5000 * made));
            tree.chown(path,
                       made % 3 == 0   ? 0
                       : made % 3 == 1 ? 54321
                                       : 2,
                       made % 4 == 0 ? 0 : 1);
            tree.times(path, 1500000000 + made, 1400000000 + made * 1000);
            ++made;
        }
    }
    tree.link("m/one.txt", "m/d/one.txt");
    tree.symlink("nowhere", "m/link");
    tree.mkfifo("m/fifo");
    for (const char* const directory : {"m/mona", "m/monb/c", "m/monb", "m/d/e/f/g", "m/d/e/f",
                                        "m/d/e", "m/d/other", "m/d", "m"})
        tree.times(directory, 1500000000, 1400000000);
}

/// A result without what the time of the run makes of it.
std::string timeless(const std::string& text) {
    static const std::regex now(R"("1[789]\d{11}")");
    // Where a file of users fails, the next service describes root in words of its own.
    static const std::regex description("\"Super User\"");
    std::istringstream lines(
        std::regex_replace(std::regex_replace(text, now, "\"T\""), description, "\"root\""));
    std::string result;
    std::string before;
    for (std::string line; std::getline(lines, line); before = line) {
        if (before == "[STimeDist]") {
            std::size_t age = 0;
            for (int i = 0; i < 4; ++i)
                age = line.find(',', age) + 1;
            line.erase(age, line.find(',', age) - age);
        }
        result += line + "\n";
    }
    return result;
}

/// The cells of a row in which each is empty or quoted as it should be.
std::vector<std::string> strictCells(const std::string& line) {
    std::vector<std::string> cells(1);
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == ',') {
            cells.emplace_back();
            continue;
        }
        if (line[at] != '"' || !cells.back().empty())
            throw std::runtime_error("no row: " + line);
        for (++at; at < line.size() && (line[at] != '"' || line[at + 1] == '"'); ++at) {
            at += line[at] == '"' ? 1 : 0;
            cells.back() += line[at];
        }
        if (at >= line.size())
            throw std::runtime_error("unended text: " + line);
    }
    return cells;
}

bool isDocumented(int code) {
    static constexpr std::array kCodes = {0,  2,  3,  4,  5,  6,  8,  9,  12,
                                          13, 17, 30, 59, 65, 69, 72, 102};
    return std::find(kCodes.begin(), kCodes.end(), code) != kCodes.end();
}

}  // namespace

std::vector<ResultRow> readResult(const std::string& text, bool whole) {
    if (!text.empty() && text.back() != '\n')
        throw std::runtime_error("half a line at the end");
    std::istringstream lines(text);
    std::map<std::string, std::size_t> widths;
    std::vector<std::string> open;
    std::vector<ResultRow> rows;
    std::string line;
    std::string header;
    bool inHeader = true;
    const auto require = [&line](bool good, const char* what) {
        if (!good)
            throw std::runtime_error(std::string(what) + ": " + line);
    };
    // Roles share the header of their kind, and lists are one cell.
    const auto widthOf = [&widths](const std::string& entity) {
        return widths[entity.starts_with("UserOrGroup") ? "UserOrGroup" : entity];
    };
    for (int number = 0; std::getline(lines, line); ++number) {
        const std::string name = line.size() > 2 ? line.substr(1, line.size() - 2) : "";
        if (number == 0) {
            require(line == "[Header]", "first line");
        } else if (inHeader) {
            inHeader = line != "[/Header]";
            if (line.starts_with('['))
                header = name;
            else
                widths[header] =
                    1U + static_cast<std::size_t>(std::count(line.begin(), line.end(), ','));
        } else if (line.starts_with("[/")) {
            require(!open.empty() && name == "/" + open.back(), "closes nothing");
            open.pop_back();
        } else if (line.starts_with('[')) {
            require(line.ends_with(']') && (name == "ResultsByFS" || widthOf(name) > 0), "tag");
            open.push_back(name);
        } else {
            require(!open.empty(), "row of nothing");
            rows.push_back({open.back(), strictCells(line)});
            require(rows.back().cells.size() == widthOf(open.back()), "width");
        }
    }
    if (whole && (inHeader || !open.empty() || rows.empty()))
        throw std::runtime_error("incomplete");
    return rows;
}

std::string badLogLine(const std::string& log) {
    static const std::regex dated(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} [A-Z]{3}\d{4}[IWES] )");
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        if (lines.eof())
            return "no end: " + line;
        const bool plain =
            std::none_of(line.begin(), line.end(), [](unsigned char c) { return c < ' '; });
        if (!plain || (!line.empty() && !line.starts_with("                         ") &&
                       !std::regex_search(line, dated, std::regex_constants::match_continuous)))
            return line;
    }
    return {};
}

const std::vector<FaultJob::Mode> FaultJob::kModes = {
    {"plain",   {}                                     },
    {"ahead",   {"-readahead", "2"}                    },
    {"guarded", {"-nfstimeout", "2"}                   },
    {"both",    {"-readahead", "2", "-nfstimeout", "2"}}
};

FaultJob::FaultJob() {
    tree.mkdirp("m");
    mount = std::make_unique<TestMount>(TestMount::tmpfs(tree.path("m")));
    fill(tree);
    definition = std::regex_replace(kDefinition, std::regex("@"), tree.path("m"));
    run.agentAnswer = 0;
    run.keepsLocks = true;
    for (std::size_t mode = 0; mode < kModes.size(); ++mode) {
        start({.mode = mode, .traced = false});
        truth.push_back(timeless(run.result()));
        readResult(run.result(), true);
        if (run.exitCode != 0)
            throw std::runtime_error("the job fails with nothing in its way");
    }
}

void FaultJob::start(const Situation& situation) {
    run.tree.mkdirp("log");
    for (const char* const left : {"log/srv", "output"})
        std::filesystem::remove_all(run.tree.path(left));
    run.define(definition);
    CallTracer tracer(situation.fault, run.tree.root());
    const bool traced = situation.traced && CallTracer::possible;
    run.inChild = [&] {
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
        umask(0);
        const struct rlimit none {};
        setrlimit(RLIMIT_CORE, &none);
        if (situation.inChild)
            situation.inChild();
        if (traced)
            CallTracer::beTraced();
    };
    run.whileRunning = [&](pid_t program) {
        const pid_t watchdog = fork();
        if (watchdog == 0) {
            sleep(kTimeLimit);
            _exit(kill(program, SIGKILL));
        }
        siginfo_t ended{};
        if (traced)
            tracer.follow(program);
        else
            waitid(P_PID, static_cast<id_t>(program), &ended, WEXITED | WNOWAIT);
        int status = 0;
        kill(watchdog, SIGKILL);
        late = waitpid(watchdog, &status, 0) != watchdog || WIFEXITED(status);
    };
    std::vector<std::string> arguments = kModes[situation.mode].arguments;
    arguments.insert(arguments.end(), {"-agentcom", "@agent"});
    run.start(arguments);
    calls = tracer.calls;
    struck = tracer.struck;
    strays = tracer.strays;
    where = tracer.where;
}

bool FaultJob::runsClean(std::size_t mode) {
    start({.mode = mode, .traced = false});
    return run.exitCode == 0 && timeless(run.result()) == truth[mode];
}

std::string FaultJob::broken(const Situation& situation) {
    start(situation);
    const std::map<long, int> made = calls;
    const bool met = struck;
    std::string all = brokenNow(situation);
    if (!all.empty())
        all += "  at " + where + ", exit code " + std::to_string(run.exitCode) + ", " +
               run.output + run.logged().substr(0, 200) + "\n";
    if (!runsClean(situation.mode))
        all += "the next run: exit code " + std::to_string(run.exitCode) + ", " +
               run.logged().substr(0, 200) + "\n";
    calls = made;
    struck = met;
    return all;
}

std::string FaultJob::brokenNow(const Situation& situation) const {
    const bool killed = situation.fault.kind == Fault::Kill && struck;
    std::string all;
    if (late)
        return "no end in time\n";
    if (situation.traced && CallTracer::possible && calls.empty())
        return {};  // the system did not come as far as the program
    if (!killed && !isDocumented(run.exitCode))
        all += "undocumented exit code\n";
    if (!strays.empty())
        all += "wrote elsewhere:" + strays + "\n";
    const std::string line = badLogLine(run.log());
    if (!line.empty())
        all += "line of the log: " + line + "\n";
    for (const char* const directory : {"log", "output"}) {
        if (!run.tree.exists(directory))
            continue;
        for (const auto& each :
             std::filesystem::recursive_directory_iterator(run.tree.path(directory))) {
            struct stat status {};
            if (lstat(each.path().c_str(), &status) == 0 && (status.st_mode & 022) != 0)
                all += "others may write " + each.path().string() + "\n";
        }
    }
    all += resultBroken(situation);
    if (!killed && !situation.notTold)
        all += agentBroken();
    return all;
}

/// The result is absent or whole, and true unless code and log say otherwise.
std::string FaultJob::resultBroken(const Situation& situation) const {
    const bool killed = situation.fault.kind == Fault::Kill && struck;
    const bool promised = run.exitCode == 0 || run.exitCode == 4;
    if (!killed && run.hasResult() != promised)
        return promised ? "no result\n" : "a result remains\n";
    if (!run.hasResult())
        return {};
    try {
        readResult(run.result(), !killed);
    } catch (const std::runtime_error& departure) {
        return std::string("result: ") + departure.what() + "\n";
    }
    // An entry or a directory that was left out and named does not raise the code. What a
    // log cannot take is printed.
    static const std::regex complaint(R"([A-Z]{3}\d{4}[EWS])");
    static const std::regex entry("STA0063E|STA0121E|KLM0264E");
    const std::string logged = run.logged() + run.output;
    if (killed || situation.otherRows || timeless(run.result()) == truth[situation.mode])
        return {};
    if (!std::regex_search(logged, complaint))
        return "other rows, and the log is silent\n";
    return run.exitCode == 4 || std::regex_search(logged, entry)
               ? ""
               : "other rows, and the code is 0\n";
}

/// Once it was said that the job runs, the agent learns its end, once.
std::string FaultJob::agentBroken() const {
    const std::string told = run.tree.read("told");
    const auto times = std::count(told.begin(), told.end(), '\n');
    const bool noted = run.tree.read(ScanRun::kJobFile).find(" exitCode=") != std::string::npos;
    const bool cut = run.exitCode == 65 || run.exitCode == 69;  // of 321 and 325
    const std::string code =
        "-exitCode " + std::to_string(run.exitCode + (cut ? 256 : 0)) + " ";
    if (run.status != "1")
        return times == 0 ? "" : "told of a job that never began\n";
    if (times != 1)
        return times == 0 && noted ? "" : "told " + std::to_string(times) + " times\n";
    return told.find(code) != std::string::npos ? "" : "told another code: " + told;
}
