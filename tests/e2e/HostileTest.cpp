/// Trees as an enemy would make them, each read a second time in the plainest way: no entry
/// lost, none invented, no row or line of the log forged.

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <ftw.h>
#include <iostream>
#include <limits>
#include <regex>
#include <set>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "e2e/FaultJob.h"
#include "support/HangingMount.h"

namespace {

constexpr std::size_t kLongestRanking = 32767;
constexpr char kRequest[] = R"([Header]
[AgentScan]
asJobName,asScanningCompID
[Filesystem]
fsID,fsMountPoint
[CuStatDef]
sdID,sdType,sdSummary,sdLargestDirectories,sdLargestFiles,sdLargestFileTypes,sdGroupByOwner
[/Header]
[AgentScan]
"job",42
[Filesystem]
1,"@"
[/Filesystem]
[CuStatDef]
100,3,"Y",32767,32767,9,"Y"
[/CuStatDef]
[/AgentScan]
)";

/// What lies in a file system, as nftw(3) finds it.
struct Census {
    std::multiset<std::string> files;  // "name length owner", of files without other links
    std::multiset<std::string> directories;  // those that are entered
};
Census there;
std::uint64_t mountOfRoot = 0;

int countEntry(const char* path, const struct stat* status, int /*type*/, struct FTW* at) {
    constexpr int lowest = 199;  // level of the lowest directory that is entered
    struct statx more {};
    statx(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, STATX_MNT_ID, &more);
    if (at->level == 0)
        mountOfRoot = more.stx_mnt_id;
    const bool isDirectory = S_ISDIR(status->st_mode);
    if (more.stx_mnt_id != mountOfRoot || (isDirectory && at->level > lowest))
        return FTW_SKIP_SUBTREE;
    std::string name = path + std::string(at->level == 0 ? "/" : "");
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    if (isDirectory)
        there.directories.insert(name);
    else if ((S_ISREG(status->st_mode) || S_ISLNK(status->st_mode)) && status->st_nlink <= 1)
        there.files.insert(name + " " + std::to_string(status->st_size) + " " +
                           std::to_string(static_cast<std::int32_t>(status->st_uid)));
    return FTW_CONTINUE;
}

/// A process of its own that does something to a tree again and again.
class Tormentor {
public:
    template <class Torment>
    explicit Tormentor(const Torment& torment)
        : rounds(*new (mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                            -1, 0)) std::atomic<unsigned>(0)),
          process(fork()) {
        for (; process == 0; ++rounds)
            torment(rounds);
    }
    ~Tormentor() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        munmap(&rounds, 4096);
    }
    Tormentor(const Tormentor&) = delete;
    Tormentor& operator=(const Tormentor&) = delete;

    std::atomic<unsigned>& rounds;  // so far; in memory that both processes see

private:
    const pid_t process;
};

class HostileTest : public testing::Test {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        tree.mkdirp("m");
        tree.mkdirp("sentinel/SENTINEL");
        tree.touch("sentinel/SENTINEL/SENTINEL", 100);
        root = tree.path("m");
    }

    void mountHere() { mounts.push_back(TestMount::tmpfs(root)); }

    /// Runs the job and reads its result and log strictly; the code is 0 or 4.
    void start(const FaultJob::Mode& mode) {
        SCOPED_TRACE(mode.name);
        run.define(std::regex_replace(kRequest, std::regex("@"), root));
        run.inChild = [] { setenv("ASAN_OPTIONS", "detect_leaks=0", 1); };
        run.start(mode.arguments);
        EXPECT_TRUE(run.exitCode == 0 || run.exitCode == 4) << run.exitCode << run.output;
        EXPECT_EQ("", badLogLine(run.log()));
        unlink(run.tree.path(ScanRun::kLog).c_str());
        found = Census();
        for (const ResultRow& row : readResult(run.result(), true)) {
            if (row.entity == "SDirectory")
                found.directories.insert(row.cells[1]);
            if (row.entity == "SFile")
                file = row.cells[1] + " " + row.cells[6] + " ";
            if (row.entity == "UserOrGroupUser" && !file.empty())
                found.files.insert(file + row.cells[0]);
            if (row.entity != "SFile")
                file.clear();
        }
    }

    /// Runs the job in each mode; all there is must be in its result, and nothing else.
    void expectWhatIsThere() {
        there = Census();
        ASSERT_EQ(0, nftw(root.c_str(), countEntry, 300, FTW_PHYS | FTW_ACTIONRETVAL));
        for (const FaultJob::Mode& mode : FaultJob::kModes) {
            start(mode);
            EXPECT_EQ(std::to_string(there.files.size()),
                      run.value("SSummary", "sumFileCount"));
            if (there.files.size() > kLongestRanking)
                continue;
            for (auto list : {&Census::files, &Census::directories}) {
                EXPECT_EQ("", firstBeyond(there.*list, found.*list)) << mode.name << ": lost";
                EXPECT_EQ("", firstBeyond(found.*list, there.*list))
                    << mode.name << ": invented";
            }
        }
    }

    /// The first of `all` that is not among `others`.
    static std::string firstBeyond(const std::multiset<std::string>& all,
                                   const std::multiset<std::string>& others) {
        std::vector<std::string> beyond;
        std::set_difference(all.begin(), all.end(), others.begin(), others.end(),
                            std::back_inserter(beyond));
        return beyond.empty() ? "" : beyond.front();
    }

    TempTree tree;
    std::string root;
    std::vector<TestMount> mounts;
    ScanRun run;
    Census found;
    std::string file;
};

TEST_F(HostileTest, NoNameIsAnythingButAName) {
    mountHere();
    tree.mkdirp("m/bytes");
    for (int byte = 1; byte < 256; ++byte) {
        const std::string c(1, static_cast<char>(byte));
        if (c == "/")
            continue;
        tree.touch("m/bytes/x" + c + "y", static_cast<std::size_t>(byte));
        tree.mkdirp("m/" + c + c + c);
        tree.touch("m/" + c + c + c + "/" + c + c + c, 1);
    }
    for (const std::string name : {"[AgentScan]",
                                   "[/AgentScan]",
                                   "[/Header]\n[AgentScan]",
                                   "\"x\",1",
                                   "\"\n[/SFile]\n[SFile]\n\"1\",\"forged\"",
                                   "2026-01-01 00:00:00.000 STA0161I",
                                   "\n2026-01-01 00:00:00.000 STA0161I done",
                                   "-rf",
                                   "--",
                                   "%n%s%n%s",
                                   "%1$n",
                                   "$(id)",
                                   "`id`",
                                   ";id",
                                   "'",
                                   "\\",
                                   "\\n",
                                   "null",
                                   "a,b",
                                   "\xff\xfe",
                                   "\xc0\xaf",
                                   "\xe2\x80\xa8",
                                   "\xc2\x85",
                                   "\xed\xa0\x80",
                                   "\xf4\x90\x80\x80",
                                   "..x",
                                   "...",
                                   " ",
                                   "~",
                                   "*",
                                   ".snapshot.not"}) {
        std::string single = name;
        std::replace(single.begin(), single.end(), '/', '|');
        tree.touch("m/bytes/" + single, 3);
        tree.mkdirp("m/names/" + name);  // a name with a "/" is a path
        tree.touch("m/names/" + name + "/" + single, 3);
    }
    for (const std::string c : {"n", "\xff", "\"", "\n", "%"}) {
        std::string name;
        while (name.size() < 255)
            name += c;
        tree.mkdirp("m/long/" + name + "/" + name);
        tree.touch("m/long/" + name + "/" + name + "/" + name, 3);
    }
    expectWhatIsThere();
}

TEST_F(HostileTest, ExtremesAreWrittenAsTheyAre) {
    mountHere();
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    for (const std::int64_t time :
         {std::int64_t{0}, std::int64_t{-1}, -most, most, std::int64_t{1} << 33U}) {
        const std::string name = "m/time" + std::to_string(time);
        tree.touch(name);
        tree.times(name, time, time);
    }
    for (const unsigned owner : {0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFEU}) {
        tree.touch("m/owner" + std::to_string(owner));
        tree.chown("m/owner" + std::to_string(owner), owner, owner);
    }
    tree.touch("m/sparse");
    EXPECT_EQ(0, truncate((root + "/sparse").c_str(), std::int64_t{1} << 42U));
    const int levels = setting("HOSTILE_LEVELS", 1000);
    int at = open(root.c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < levels; ++level) {  // the log tells where it gets too deep
        const char* const name = level == 0 ? "x\nforged" : "d";
        EXPECT_EQ(0, mkdirat(at, name, 0755));
        const int next = openat(at, name, O_RDONLY | O_DIRECTORY);
        close(openat(at, "f", O_WRONLY | O_CREAT, 0600));
        close(at);
        at = next;
    }
    close(at);
    tree.mkdirp("m/wide");
    for (int i = setting("HOSTILE_ENTRIES", 1000); i > 0; --i)
        close(open((root + "/wide/" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT, 0600));
    expectWhatIsThere();
}

TEST_F(HostileTest, OtherMountsAreNotEntered) {
    mountHere();
    for (const char* const name : {"m/inner", "m/bind", "m/outer", "m/overlay", "m/own/deep"})
        tree.mkdirp(name);
    for (const char* const name : {"m/covered", "m/own/seen"})
        tree.touch(name, 10);
    tree.mkdirp("empty");
    mounts.push_back(TestMount::tmpfs(root + "/inner"));
    tree.mkdirp("m/inner/SENTINEL");
    mounts.push_back(TestMount::tmpfs(root + "/inner/SENTINEL"));
    mounts.push_back(TestMount::bind(root + "/own", root + "/bind"));
    mounts.push_back(TestMount::bind(tree.path("sentinel"), root + "/outer"));
    mounts.push_back(
        TestMount::bind(tree.path("sentinel/SENTINEL/SENTINEL"), root + "/covered"));
    const std::string layers = "lowerdir=" + tree.path("sentinel") + ":" + tree.path("empty");
    EXPECT_EQ(
        0, mount("overlay", (root + "/overlay").c_str(), "overlay", MS_RDONLY, layers.c_str()));
    expectWhatIsThere();
    EXPECT_EQ(std::string::npos, run.result().find("SENTINEL"));
    EXPECT_EQ(0, umount((root + "/overlay").c_str()));
    while (!mounts.empty())
        mounts.pop_back();
}

TEST_F(HostileTest, NothingLeadsTheJobElsewhere) {
    mountHere();
    for (int i = 0; i < 100; ++i)
        tree.mkdirp("m/still/" + std::to_string(i));
    tree.mkdirp("m/swap");
    tree.touch("m/swap/own", 10);
    tree.mkdirp("m/churn");
    tree.symlink(tree.path("sentinel"), "m/link");
    const Tormentor swaps([this](unsigned) {
        renameat2(AT_FDCWD, (root + "/swap").c_str(), AT_FDCWD, (root + "/link").c_str(),
                  RENAME_EXCHANGE);
    });
    const Tormentor churn([this](unsigned round) {
        const std::string name = root + "/churn/" + std::to_string(round % 50);
        if (round % 3 == 0)
            mkdir(name.c_str(), 0700);
        else if (round % 3 == 1)
            rename(name.c_str(), (root + "/churn/x" + std::to_string(round % 7)).c_str());
        else
            static_cast<void>(
                !remove((root + "/churn/x" + std::to_string(round % 11)).c_str()));
    });
    const time_t end = time(nullptr) + setting("HOSTILE_SECONDS", 2);
    int runs = 0;
    do {
        start(FaultJob::kModes[static_cast<std::size_t>(runs++) % FaultJob::kModes.size()]);
        EXPECT_EQ(std::string::npos, run.result().find("SENTINEL"));
        EXPECT_EQ(100, std::count_if(found.directories.begin(), found.directories.end(),
                                     [&](const std::string& name) {
                                         return name.starts_with(root + "/still/");
                                     }));
    } while (time(nullptr) < end && !HasFailure());
    std::cout << runs << " jobs, " << swaps.rounds << " exchanges\n";
}

TEST_F(HostileTest, AFileServerThatLiesIsNotBelieved) {
    const HangingMount server(root, 7);
    server.tell("lie .");
    expectWhatIsThere();
}

}  // namespace
