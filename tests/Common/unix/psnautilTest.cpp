#include <chrono>
#include <cstdlib>
#include <sched.h>
#include <sys/mount.h>
#include <thread>

#include <gtest/gtest.h>

#include "Common/unix/psnautil.h"
#include "support/TempTree.h"
#include "support/inChild.h"

namespace {

class PsnautilTest : public testing::Test {
protected:
    ~PsnautilTest() override {
        setenv("PATH", path.c_str(), 1);
        unsetenv("PS_FORMAT");
    }

    /// True if this process counts as running by a ps of this script.
    bool runs(const std::string& script, const char* matchText) const {
        tree.write("ps", "#!/bin/sh\n" + script + "\n");
        tree.chmod("ps", 0755);
        setenv("PATH", tree.root().c_str(), 1);
        return psIsProcessRunning(getpid(), matchText);
    }

    const TempTree tree;
    const std::string path = std::getenv("PATH");
};

TEST_F(PsnautilTest, TellsProcessesThatRunFromThoseThatDoNot) {
    EXPECT_TRUE(psIsProcessRunning(getpid(), "unit_tests"));
    EXPECT_FALSE(psIsProcessRunning(getpid(), "no such program"));
    setenv("PS_FORMAT", "ucmd", 1);
    EXPECT_TRUE(psIsProcessRunning(getpid(), nullptr));
    pid_t threadId = 0;
    std::thread([&threadId] {
        threadId = gettid();
        EXPECT_FALSE(psIsProcessRunning(threadId, nullptr)) << "a thread is no process";
    }).join();
    for (const std::string& directory : {path, std::string("/none")}) {  // there is no ps
        setenv("PATH", directory.c_str(), 1);
        EXPECT_TRUE(psIsProcessRunning(getpid(), nullptr));
        for (const pid_t gone : {deadProcess(), 0, -1, -getpid(), INT32_MAX})
            EXPECT_FALSE(psIsProcessRunning(gone, nullptr)) << gone;
    }
}

TEST_F(PsnautilTest, OnlyAListOfOthersSpeaksAgainstAProcess) {
    const std::string own = std::to_string(getpid());
    const struct {
        std::string script;
        bool runs;
        bool matches;  // "name"
    } kCases[] = {
        {"echo PID CMD; echo \"$2 name\"", true,  true },
        {"echo PID CMD; echo \"$2 x\"",    true,  false},
        {"echo PID CMD; exit 1",           true,  true },
        {"echo error 1 >&2; exit 1",       true,  true },
        {"kill -9 $$",                     true,  true },
        {"echo 1" + own + "2 name",        false, false},
        {"echo 7 name",                    false, false},
    };
    for (const auto& [script, running, matching] : kCases) {
        EXPECT_EQ(running, runs(script, nullptr)) << script;
        EXPECT_EQ(matching, runs(script, "name")) << script;
    }

    testing::internal::CaptureStderr();
    EXPECT_TRUE(runs("echo complaint >&2", nullptr));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(1, inStoppedChild([this] { return runs("echo 7; sleep 100", nullptr); }));
    EXPECT_GT(std::chrono::seconds(9), std::chrono::steady_clock::now() - start);
}

TEST_F(PsnautilTest, TheOwnChildIsNoHolder) {
    // In a name space of a few numbers the next child gets that of the dead holder.
    const int rc = inChild([] {
        if (unshare(CLONE_NEWPID | CLONE_NEWNS) != 0)
            return 77;
        return inChild([] {
            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
            mount("proc", "/proc", "proc", 0, nullptr);
            int wrong = 0;
            for (pid_t next = 2; next < 12; ++next)
                wrong += psIsProcessRunning(next, nullptr) ? 1 : 0;
            return wrong;
        });
    });
    if (rc == 77)
        GTEST_SKIP() << "needs the right to make a name space of process ids";
    EXPECT_EQ(0, rc);
}

}  // namespace
