#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"

namespace {

/// A job that asks for owners and orphans, with a user database that fails as said.
class OwnerTest : public testing::Test {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        tree.mkdirp("m");
        mount = std::make_unique<TestMount>(TestMount::tmpfs(tree.path("m")));
        for (const unsigned number : {0U, 4711U, 4712U}) {
            tree.touch("m/" + std::to_string(number), 5000);
            tree.chown("m/" + std::to_string(number), number, number == 0 ? 0 : 4711);
        }
    }

    void start(const std::string& failure, const std::vector<std::string>& options = {}) {
        std::string request = requestFor({
            {1, tree.path("m")}
        });
        for (const auto& [from, to] : {
                 std::pair{"sdType,",       "sdType,sdLargestOrphans,sdGroupByOwner,"},
                 {"\"builtin\",3", "\"builtin\",3,5,\"Y\""                  }
        })
            request.replace(request.find(from), std::string(from).size(), to);
        run.define(request);
        run.inChild = [failure] {
            setenv("FAILING_NAMES", failure.c_str(), 1);
            setenv("LD_PRELOAD", SCAN_FAILING_NAMES, 1);
            setenv("ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0", 1);
        };
        run.start(options);
    }

    /// What the owner entities say, "name removed" each, and the orphans.
    std::string owners() const {
        std::string text;
        for (const ScanRun::Record& record : run.records("UserOrGroup"))
            text += record.at("ugName") + " " + record.at("ugRemoved") + ", ";
        return text + std::to_string(run.records("SFile").size()) + " orphans";
    }

    const TempTree tree;
    std::unique_ptr<TestMount> mount;
    ScanRun run;
};

}  // namespace

TEST_F(OwnerTest, ANumberThatCannotBeLookedUpIsNoOrphan) {
    const std::string report =
        "STA9001W On " + tree.path("m") + "/ 3 owners and 2 groups could not be looked up";
    const auto began = std::chrono::steady_clock::now();
    start(std::to_string(EIO));
    EXPECT_EQ(4, run.exitCode);
    EXPECT_EQ("4712 0, 4711 0, 0 0, 0 orphans", owners());
    EXPECT_NE(std::string::npos, run.log().find(report)) << run.log();

    // A database that hangs is one that fails.
    start("hang", {"-nfstimeout", "2"});
    EXPECT_EQ(4, run.exitCode);
    EXPECT_EQ("4712 0, 4711 0, 0 0, 0 orphans", owners());
    EXPECT_NE(std::string::npos, run.log().find(report)) << run.log();
    EXPECT_GT(std::chrono::seconds(20), std::chrono::steady_clock::now() - began);

    // One that knows nobody is believed but for root, who is in the host's own file.
    start(std::to_string(ENOENT));
    EXPECT_EQ(4, run.exitCode);
    EXPECT_EQ("4712 1, 4711 1, 0 0, 2 orphans", owners());
}
