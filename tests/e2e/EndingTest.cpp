#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <regex>
#include <signal.h>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"
#include "support/TempTree.h"

namespace {

constexpr char kTrace[] = "log/srv/job.0003_scan.00000005.trace";

/// The endings of a job: what it exits with and what it leaves behind.
class EndingTest : public testing::Test {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        tree.mkdirp("m");
        mount = std::make_unique<TestMount>(TestMount::tmpfs(mountPoint()));
    }

    [[nodiscard]] std::string mountPoint() const { return tree.path("m"); }

    /// "code status", what is left of "definition result log", and the neighbours().
    [[nodiscard]] static std::string ending(const ScanRun& run) {
        return std::to_string(run.exitCode) + " " + run.status +
               (run.hasDefinition() ? " definition" : "") + (run.hasResult() ? " result" : "") +
               (run.hasLog() ? " log" : "") + run.neighbours();
    }

    void request(const std::string& more = {}) {
        run.define(requestFor(
            {
                {1, mountPoint()}
        },
            more));
    }

    void start(std::vector<std::string> more = {}) {
        more.insert(more.end(), {"-agentcom", "@agent"});
        run.start(more);
    }

    TempTree tree;
    std::unique_ptr<TestMount> mount;
    ScanRun run;
    bool replaced = false;  // something else is where the result was
};

TEST_F(EndingTest, SuccessLeavesResultAndLog) {
    request();
    start();
    EXPECT_EQ("0 1 result log -exitCode 0 exitCode=0", ending(run));
    EXPECT_EQ("", run.output);
}

TEST_F(EndingTest, TheHighestTraceLevelKeepsTheDefinition) {
    request();
    start({"-debug", "max"});
    EXPECT_EQ("0 1 definition result log -exitCode 0 exitCode=0", ending(run));
    const std::string trace = run.tree.read(kTrace);
    EXPECT_NE(std::string::npos, trace.find("): Enter: ExecScan::startScan\n"));
    EXPECT_TRUE(trace.ends_with("\nEND OF DATA - close\n\n"));
}

TEST_F(EndingTest, AClauseThatDoesNotCompileSkipsItsStatistic) {
    request("[CuStatDef]\n7,\"usr\",\"x\",4,\"Y\",\"61,84\"\n[/CuStatDef]\n");
    start();
    EXPECT_EQ("4 1 result log -exitCode 4 exitCode=4", ending(run));
    EXPECT_EQ(1U, run.records("CuStatDef").size());

    request("[MonDirSpec]\n7,\"" + mountPoint() + "/[a\"\n[/MonDirSpec]\n");
    start();
    EXPECT_EQ("4 1 result log -exitCode 4 exitCode=4", ending(run));
    EXPECT_NE(std::string::npos, run.log().find("STA9010W")) << run.log();
}

TEST_F(EndingTest, AnUnusableDefinitionStaysAndLeavesNoResult) {
    start();
    EXPECT_EQ("13 1 log -exitCode 13 -jobendtimestamp", ending(run));
    EXPECT_EQ("AGT0146I STA0430E", run.logged());

    struct Bad {
        const char* text;
        int exitCode;
    };
    for (const Bad& bad : {
             Bad{"[Header]\n[AgentScan]\na\n[/Header]\n[AgentScan]\n1\n", 17 },
             Bad{"[Header]\n[/Header]\n[AgentScan]\n1\n[/AgentScan]\n",   321},
             Bad{"[Header]\n[AgentScan]\nasJobName\n[/Header]\n[AgentScan]\n1,2\n"
                 "[/AgentScan]\n",                       325}
    }) {
        run.define(bad.text);
        start();
        EXPECT_EQ(std::to_string(bad.exitCode % 256) + " 1 definition log -exitCode " +
                      std::to_string(bad.exitCode) + " -jobendtimestamp",
                  ending(run))
            << bad.text;
    }
}

TEST_F(EndingTest, NothingToScanRemovesTheResult) {
    run.define(requestFor({
        {1, "/not/mounted"}
    }));
    start();
    EXPECT_EQ("12 1 log -exitCode 12 exitCode=12", ending(run));
    EXPECT_EQ("AGT0146I STA0532I STA0103W STA0647E", run.logged());

    for (const char* const text : {"", "no header\n[AgentScan]\n[/AgentScan]\n"}) {
        run.define(text);
        start();
        EXPECT_EQ("12 1 log -exitCode 12 exitCode=12", ending(run)) << text;
    }
}

TEST_F(EndingTest, AFileSystemThatIsLockedEndsTheJobAndAnOlderResult) {
    run.define(requestFor({
        {1, mountPoint()},
        {1, mountPoint()}
    }));
    run.tree.mkdirp("output/srv");
    run.tree.write(ScanRun::kResult, "of an earlier run");
    start();
    EXPECT_EQ("8 1 log Resource=scan_1 -exitCode 8 exitCode=8", ending(run));
    EXPECT_EQ("AGT0146I STA0531E", run.logged());
}

TEST_F(EndingTest, AResultThatCannotBeWrittenIsToldAndRemoved) {
    request();
    run.tree.write("output", "no directory");
    start();
    EXPECT_EQ("9 1 log Resource=scan_1 -exitCode 9", ending(run)) << "and no job file";

    ASSERT_EQ(0, unlink(run.tree.path("output").c_str()));
    run.tree.mkdirp("output");
    std::string statistics;  // more than a page of results
    for (int i = 0; i < 20; ++i)
        statistics += "[CuStatDef]\n7,\"usr\",\"x\",1,\"Y\",null\n[/CuStatDef]\n";
    request(statistics);
    ASSERT_EQ(0, ::mount("tmpfs", run.tree.path("output").c_str(), "tmpfs", 0, "size=4096"));
    start();
    EXPECT_EQ("9 1 log Resource=scan_1 -exitCode 9 exitCode=9", ending(run));
    ASSERT_EQ(0, umount(run.tree.path("output").c_str()));
}

TEST_F(EndingTest, AResultThatIsALinkOrAFifoIsRefused) {
    run.tree.mkdirp("output/srv");
    run.tree.write("victim", "untouched");
    run.tree.symlink(run.tree.path("victim"), ScanRun::kResult);
    request();
    start();
    EXPECT_EQ("9 1 log Resource=scan_1 -exitCode 9 exitCode=9", ending(run));
    EXPECT_EQ("untouched", run.tree.read("victim"));

    run.tree.mkfifo(ScanRun::kResult);
    request();
    start();
    EXPECT_EQ("9 1 log Resource=scan_1 -exitCode 9 exitCode=9", ending(run));
}

TEST_F(EndingTest, WhatTheParentLeavesBehindDoesNoHarm) {
    // A message that the catalog lacks is told on standard output, which is closed here.
    run.tree.write("few.msg", "$set 1\n1144 AGT0146I \\001started\n");
    const std::string catalog = run.tree.path("nls/en_US/cvnna.cat");
    ASSERT_EQ(0, unlink(catalog.c_str()));
    ASSERT_EQ(0, std::system(("gencat " + catalog + " " + run.tree.path("few.msg")).c_str()));
    run.inChild = [] { close(STDOUT_FILENO); };
    request();
    start();
    EXPECT_EQ("0 1 result log -exitCode 0 exitCode=0", ending(run));
    EXPECT_EQ(std::string::npos, run.result().find("KLM9999E"));

    run.inChild = [] {
        const struct rlimit oneKilobyte { 1024, 1024 };
        setrlimit(RLIMIT_FSIZE, &oneKilobyte);
    };
    request();
    start();
    EXPECT_EQ("9 1 log Resource=scan_1 -exitCode 9 exitCode=9", ending(run));
}

TEST_F(EndingTest, TheHostsLanguageIsThatOfTheMessages) {
    run.tree.mkdirp("locales");
    const std::string locale = run.tree.path("locales/de_DE.UTF-8");
    if (std::system(("localedef -i de_DE -f UTF-8 " + locale + " 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "needs the sources of locales (package locales)";
    run.inChild = [this] {
        setenv("LOCPATH", run.tree.path("locales").c_str(), 1);
        setenv("LC_ALL", "de_DE.UTF-8", 1);
    };
    request();
    start();
    EXPECT_EQ("0 1 result log -exitCode 0 exitCode=0", ending(run));
    EXPECT_NE(std::string::npos, run.log().find(" STA0161I Der Suchlauf ist beendet.\n"));

    // Where no log can be, the failure is told on standard output; the job goes on.
    std::filesystem::remove_all(run.tree.path("log/srv"));
    run.tree.write("log/srv", "in the way");
    request();
    start();
    EXPECT_EQ("0 1 result -exitCode 0 exitCode=0", ending(run));
    const std::string reordered = ": Die Protokolldatei " + run.tree.path(ScanRun::kLog) +
                                  " konnte nicht geöffnet werden.\n";
    EXPECT_TRUE(run.output.starts_with("KLM0264E Grund ")) << run.output;
    EXPECT_NE(std::string::npos, run.output.find(reordered)) << run.output;
}

TEST_F(EndingTest, AStopAtAnyInstantIsHonoured) {
    for (int i = 0; i < 6000; ++i)
        tree.mkdirp("m/" + std::to_string(i % 6) + "/" + std::to_string(i));
    const char* const count = std::getenv("STOPS");
    const std::chrono::seconds most(count ? 1 : 20);  // tests beside this one take their time
    std::mt19937 random(3);
    std::chrono::steady_clock::time_point stopped;
    run.inChild = [] {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);  // which must not make the job deaf
    };
    run.whileRunning = [&](pid_t child) {
        while (!run.tree.exists(ScanRun::kJobFile))
            usleep(100);
        usleep(static_cast<unsigned>(random()) % 150000);
        stopped = std::chrono::steady_clock::now();
        kill(child, SIGTERM);
    };
    int stops = 0;
    for (int left = count ? std::atoi(count) : 10; left > 0; --left) {
        const bool traced = left % 2 == 0;
        request();
        start({"-debug", traced ? "MAX" : "MIN"});
        EXPECT_LT(std::chrono::steady_clock::now() - stopped, most);
        const std::string start = traced ? " 1 definition" : " 1";
        if (run.exitCode == 0) {
            EXPECT_EQ("0" + start + " result log -exitCode 0 exitCode=0", ending(run));
            continue;
        }
        EXPECT_EQ("8" + start + " log -exitCode 8 exitCode=8", ending(run));
        EXPECT_TRUE(run.logged().ends_with("STA9004W")) << run.logged();
        EXPECT_NE(std::string::npos, run.tree.read(kTrace).find("Caught signal 15"));
        ++stops;
    }
    EXPECT_LT(0, stops);
}

TEST_F(EndingTest, AJobThatBreaksIsToldAndLeavesNoResult) {
    run.inChild = [] {
        const struct rlimit memory { 80000000, 80000000 };
        setrlimit(RLIMIT_AS, &memory);
    };
    run.startPlain({"-version"});
    if (run.exitCode != 0)
        GTEST_SKIP() << "a sanitizer takes more memory than the job may have here";
    run.tree.mkdirp("output/srv");
    run.tree.write(ScanRun::kResult, "of an earlier run");
    run.define(requestFor({
        {1, std::string(20000000, 'x')}
    }));
    start();
    EXPECT_EQ("8 1 definition log -exitCode 8 exitCode=8", ending(run));
    EXPECT_EQ("AGT0146I STA9002E", run.logged());
}

TEST_F(EndingTest, AResultThatIsTakenAwayIsNoSuccess) {
    for (int i = 0; i < 2000; ++i)
        tree.touch("m/" + std::to_string(i));
    run.whileRunning = [this](pid_t child) {
        while (!run.hasResult())
            usleep(100);
        kill(child, SIGSTOP);
        std::filesystem::rename(run.tree.path("output"), run.tree.path("elsewhere"));
        if (replaced) {
            run.tree.mkdirp("output/srv");
            run.tree.write(ScanRun::kResult, "of a stranger");
        }
        kill(child, SIGCONT);
    };
    for (const bool other : {false, true}) {
        replaced = other;
        request();
        start({"-debug", "MAX"});
        EXPECT_EQ("9 1 definition log Resource=scan_1 -exitCode 9", ending(run));
        EXPECT_TRUE(run.logged().ends_with("STA9003E")) << run.logged();
        std::filesystem::remove_all(run.tree.path("elsewhere"));
    }
}

TEST_F(EndingTest, ARunThatIsUnderWayIsLeftAlone) {
    for (int i = 0; i < 500; ++i)
        tree.touch("m/" + std::to_string(i));
    const std::string second = run.tree.path("bin/scan") +
                               " -scan -sidrunnumber 3 -jobrunnumber 5 -servername srv "
                               "-debug MAX -jobname ";
    run.whileRunning = [&](pid_t child) {
        while (!run.hasResult())
            usleep(100);
        kill(child, SIGSTOP);
        const std::string before = run.result() + run.tree.read(kTrace);
        EXPECT_EQ(8 << 8, std::system((second + "job").c_str()));
        EXPECT_TRUE(before == run.result() + run.tree.read(kTrace));
        EXPECT_TRUE(run.hasDefinition());
        EXPECT_NE(std::string::npos, run.tree.read("told").find("-exitCode 8 "));
        EXPECT_TRUE(run.logged().ends_with("AGT0146I STA9006E")) << run.logged();

        const std::string other = "output/srv/other.0003_scan.00000005.jobinfo";
        run.tree.write(other, "DO NOT\npid=" + std::to_string(child) + " startTime=1");
        EXPECT_EQ(8 << 8, std::system((second + "other").c_str()));
        run.tree.write(other, "DO NOT\npid=1 startTime=1");
        EXPECT_EQ(13 << 8, std::system((second + "other").c_str())) << "of another program";
        kill(child, SIGCONT);
    };
    for (const bool stale : {false, true}) {
        run.inChild = [&] {
            if (stale)
                run.tree.write(ScanRun::kJobFile, "DO NOT\npid=1 startTime=1");
        };
        run.tree.mkdirp("output/srv");
        unlink(run.tree.path(ScanRun::kResult).c_str());
        request();
        start({"-debug", "MAX"});
        EXPECT_EQ(
            "0 1 definition result log -exitCode 8 -exitCode 8 -exitCode 13 "
            "-jobendtimestamp -exitCode 0 exitCode=0",
            ending(run));
    }
}

TEST_F(EndingTest, AnAgentThatTakesTheNewsNeedsNoJobFile) {
    run.agentAnswer = 0;
    for (const char* const directory : {"log/srv", "output/srv"})
        run.tree.mkdirp(directory);
    run.inChild = [this] {
        umask(0);
        signal(SIGCHLD, SIG_IGN);  // hides how the agent's program ends, unless undone
        for (const char* const old : {ScanRun::kResult, ScanRun::kJobFile, ScanRun::kResources})
            run.tree.write(old, "of an earlier version\n");
        for (const char* const old : {ScanRun::kResult, ScanRun::kJobFile, ScanRun::kResources})
            run.tree.chmod(old, 0666);
    };
    request();
    start({"-serverip", "1.2.3.4", "-serverport", "9", "-debug", "min", "-maxlogsize", "2048"});
    EXPECT_EQ("0 1 result log -exitCode 0", ending(run));
    const std::regex told(
        "-notify scan -installLoc \\S+ -serverName srv -serverIP 1.2.3.4 -serverPort 9 "
        "-jobName job -jobRunNumber 5 -sidRunNumber 3 -debug MIN -maxLogSize 2048 -exitCode 0 "
        "-jobstarttimestamp 1\\d{9} -jobendtimestamp 1\\d{9} "
        "-debugfile /\\S+/log/srv/job.0003_scan.00000005.notify.trace\n");
    EXPECT_TRUE(std::regex_match(run.tree.read("told"), told));
    for (const char* const name : {ScanRun::kResult, ScanRun::kJobFile, ScanRun::kResources}) {
        struct stat status {};
        ASSERT_EQ(0, stat(run.tree.path(name).c_str(), &status)) << name;
        EXPECT_EQ(0600, status.st_mode & 07777) << name;
    }
}

TEST_F(EndingTest, ABadCommandLineIsToldBeforeTheJobBegins) {
    request();
    start({"-nonsense"});
    EXPECT_EQ("3  definition", ending(run));  // the bad word stands before the pipe's option
    EXPECT_TRUE(run.output.starts_with("AGT0398E ")) << run.output;
    EXPECT_NE(std::string::npos, run.output.find("-nonsense"));
    EXPECT_NE(std::string::npos, run.output.find("Usage"));

    run.startPlain({"-scan", "-agentcom", "@agent", "-jobname"});
    EXPECT_EQ("6 3 definition", ending(run));
    EXPECT_EQ("", run.output);

    run.startPlain({"-version"});
    EXPECT_EQ("0  definition", ending(run));
    EXPECT_TRUE(run.output.starts_with("scan ")) << run.output;

    for (const std::string& name : {std::string("../../x"), std::string(300, 'x')}) {
        const bool outside = name.size() < 300;
        run.startPlain({"-scan", "-jobname", name, "-servername", "srv", "-sidrunnumber", "3",
                        "-jobrunnumber", "5", "-agentcom", "@agent"});
        EXPECT_EQ(outside ? "3 3 definition" : "13 1 definition -exitCode 13 -jobendtimestamp",
                  ending(run));
    }

    run.tree.mkdirp(kTrace);
    start({"-debug", "MIN"});
    EXPECT_EQ("30 3 definition", ending(run));
}

TEST_F(EndingTest, WithoutCatalogsOrPlaceTheJobDoesNotStart) {
    request();
    ASSERT_EQ(0, unlink(run.tree.path("nls/en_US/cvnna.cat").c_str()));
    start();
    EXPECT_EQ("72  definition", ending(run));
    EXPECT_TRUE(run.output.starts_with("KLM0101E ")) << run.output;
}

}  // namespace
