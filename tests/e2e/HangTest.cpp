#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"
#include "support/HangingMount.h"
#include "support/TempTree.h"

namespace {

/// Waits until a file holds the text, half a minute at most.
void await(const std::string& path, const std::string& text) {
    for (int i = 0; i < 3000; ++i) {
        std::ifstream file(path);
        const std::string content{std::istreambuf_iterator<char>(file), {}};
        if (content.find(text) != std::string::npos)
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

/// Waits until nothing of the job runs but what hangs.
void awaitEnd(pid_t job) {
    await("/proc/" + std::to_string(job) + "/status", "State:\tZ");
}

/// All that a result says of a file system, but for the times of the scan.
std::string rowsOf(const ScanRun& run, const std::string& id) {
    std::string text;
    for (const auto& [entity, column] : {
             std::pair{"Filesystem", "fsID"           },
             {"SSummary",   "sumFilesystemID"}
    }) {
        for (const ScanRun::Record& record : run.records(entity)) {
            if (record.at(column) != id)
                continue;
            for (const auto& [name, value] : record)
                text += name.ends_with("ScanTime") ? "" : name + "=" + value + "\n";
        }
    }
    return text;
}

}  // namespace

/// A job with a time-out over a good file system, 1, and one whose server hangs, 2; with so
/// many helpers that read ahead.
class HangTest : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        // At the end of a job a search for leaks waits for threads that hang.
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
        for (const char* const name : {"good", "bad"})
            tree.mkdirp(name);
        good = std::make_unique<TestMount>(TestMount::tmpfs(tree.path("good")));
        for (int i = 0; i < 50; ++i) {
            tree.mkdirp("good/" + std::to_string(i));
            tree.touch("good/" + std::to_string(i) + "/file", 5000);
        }
        server = std::make_unique<HangingMount>(tree.path("bad"), 100);
        run.whileRunning = [this](pid_t job) {
            awaitEnd(job);
            server->goOn();
            server->tell("answer .");
        };
    }

    void start() {
        run.define(requestFor({
            {1, tree.path("good")},
            {2, tree.path("bad") }
        }));
        run.start({"-nfstimeout", "1", "-readahead", GetParam()});
    }

    const TempTree tree;
    std::unique_ptr<TestMount> good;
    std::unique_ptr<HangingMount> server;
    ScanRun run;
};

INSTANTIATE_TEST_SUITE_P(ReadAhead, HangTest, testing::Values("0", "64"));

TEST_P(HangTest, OtherFileSystemsAreAsWithoutTheOneThatHangs) {
    ScanRun alone;
    alone.define(requestFor({
        {1, tree.path("good")}
    }));
    alone.start({"-nfstimeout", "1"});
    const std::string expected = rowsOf(alone, "1");
    EXPECT_EQ("50", alone.value("SSummary", "sumFileCount"));

    server->tell("hold 7");
    start();
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ(
        "AGT0146I STA0532I STA0025I STA0063E STA0063E AGT0144I STA0025I AGT0144I STA0161I",
        run.logged());
    EXPECT_EQ(expected, rowsOf(run, "1"));
    EXPECT_EQ("198", run.records("SSummary").at(0).at("sumFileCount"));

    server->stop();
    start();
    EXPECT_EQ(4, run.exitCode);
    EXPECT_NE(std::string::npos, run.log().find("/bad - Stale file handle\n"));
    EXPECT_EQ(expected, rowsOf(run, "1"));

    start();
    EXPECT_EQ("200", run.records("SSummary").at(0).at("sumFileCount"));
}

TEST_P(HangTest, AStopDuringAHangEndsTheJobWithoutAResult) {
    server->tell("hold 7");
    run.whileRunning = [this](pid_t job) {
        await(run.tree.path(ScanRun::kLog), tree.path("bad"));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        kill(job, SIGTERM);
        awaitEnd(job);
        server->tell("answer .");
    };
    start();
    EXPECT_EQ(8, run.exitCode);
    EXPECT_FALSE(run.hasResult());
    EXPECT_FALSE(run.hasDefinition());
}
