#include <cstdlib>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"
#include "support/TempTree.h"

namespace {

/// One small job, again and again, in which allocation N fails: one after the other with
/// ALLOCATIONS=all, otherwise the later the fewer.
class MemoryTest : public testing::Test {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        if (SCAN_SANITIZED)
            GTEST_SKIP() << "a sanitizer has an allocation of its own";
        tree.mkdirp("m");
        mount = std::make_unique<TestMount>(TestMount::tmpfs(tree.path("m")));
        for (int i = 0; i < 20; ++i)
            tree.touch("m/" + std::to_string(i));
        run.inChild = [this] {
            setenv("LD_PRELOAD", SCAN_FAULTS, 1);
            setenv("FAULT_ALLOCATION", std::to_string(from).c_str(), 1);
            setenv("FAULT_LASTS", lasts ? "1" : "0", 1);
            setenv("FAULT_THREADS", "main", 1);
        };
    }

    void start() {
        for (const char* const left : {ScanRun::kLog, ScanRun::kResult})
            unlink(run.tree.path(left).c_str());
        run.define(requestFor({
            {1, tree.path("m")}
        }));
        run.start({"-agentcom", "@agent"});
    }

    /// What is wrong with how the job ended; empty if nothing is.
    [[nodiscard]] std::string wrong() const {
        const bool began = run.status == "1";
        // The C library itself dies where its first look-up of an owner finds no memory.
        if (run.exitCode > 128 && run.logged().ends_with("STA0025I"))
            return {};
        const std::string code = std::to_string(run.exitCode);
        if (run.exitCode > 102 || !(began || run.status == "3" || run.status.empty()))
            return "exit code " + code + ", status " + run.status;
        std::istringstream lines(run.tree.read("told"));
        int told = 0;
        for (std::string line; std::getline(lines, line); ++told) {
            if (line.find("-exitCode " + code + " ") == std::string::npos)
                return "exit code " + code + ", but told " + line;
        }
        if (told != (began ? 1 : 0))
            return "told " + std::to_string(told) + " times";
        if (run.hasResult() != (run.exitCode < 8 && began))
            return "exit code " + code + ", result " + (run.hasResult() ? "there" : "gone");
        if (run.exitCode == 0 && run.value("SSummary", "sumFileCount") != "20")
            return "wrong result";
        if (run.neighbours().find("Resource=") != std::string::npos)
            return "a lock is left";
        if (began && run.exitCode == 8 && !run.logged().ends_with("STA9002E"))
            return "no word in the log: " + run.logged();
        return {};
    }

    TempTree tree;
    std::unique_ptr<TestMount> mount;
    ScanRun run;
    long from = 0;
    bool lasts = true;
};

TEST_F(MemoryTest, AnEndingNeedsNoMemory) {
    const char* const all = std::getenv("ALLOCATIONS");
    int broken = 0;
    for (from = 1; from == 1 || run.exitCode != 0; from += all ? 1 : 1 + from / 20) {
        start();
        EXPECT_EQ("", wrong()) << "allocation " << from;
        broken += run.status == "1" ? 1 : 0;
    }
    EXPECT_LT(20, broken);
}

TEST_F(MemoryTest, OneAllocationThatFailsBreaksNothing) {
    const char* const all = std::getenv("ALLOCATIONS");
    const long last = 6000;
    lasts = false;
    for (from = 1; from < last; from += all ? 1 : 1 + from / 15) {
        start();
        EXPECT_EQ("", wrong()) << "allocation " << from;
    }
}

}  // namespace
