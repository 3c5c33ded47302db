#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Scan/WalkTest.h"
#include "Scan/unix/GuardedStream.h"
#include "Scan/unix/SharedGuardedStream.h"
#include "common/thrd/psThread.h"
#include "common/ut/traceControl.h"
#include "support/HangingMount.h"

using std::chrono::milliseconds;

/// With so many helpers that read ahead.
class GuardedStreamTest : public WalkTest, public testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        tree.mkdirp("m");
        nfsTimeout = 1;
        readAhead = GetParam();
    }

    void serve(int files) { server = std::make_unique<HangingMount>(tree.path("m"), files); }

    /// Walks; every entry that is shown must have a record of its own, and threads stay few:
    /// with a probe and one at work.
    std::int32_t walk() {
        action.seen.clear();
        const std::int32_t rc = WalkTest::walk(factory, tree.path("m"));
        for (const auto& [path, file] : action.seen)
            EXPECT_EQ(file.faInodeNumber, file.faLength) << path;
        EXPECT_GE(16U + 1U + 1U, psThreadCount());
        return rc;
    }

    /// Opens a directory in time: 0 or the errno value.
    [[nodiscard]] int open(const char* name, milliseconds limit = milliseconds(30)) const {
        std::unique_ptr<DirectoryStream> stream;
        return GuardedStream::openRoot(tree.path(name), limit, stream);
    }

    /// True if the mount can be opened within some seconds.
    [[nodiscard]] bool comesBack() const {
        int rc = -1;
        for (int i = 0; rc != 0 && i < 1000; ++i, psThreadDelay(10))
            rc = open("m");
        return rc == 0;
    }

    DirectoryReaderFactory factory;
    std::unique_ptr<HangingMount> server;
};

INSTANTIATE_TEST_SUITE_P(ReadAhead, GuardedStreamTest, testing::Values(0, 15));

TEST_P(GuardedStreamTest, AnEntryThatHangsIsTheOnlyOneThatIsMissing) {
    serve(400);
    server->tell("hold 300");
    ASSERT_EQ(0, trOpen(tree.path("trace"), false));
    EXPECT_EQ(0, walk());
    trClose(true);
    for (const char* name : {"m/300)\n", "m/sub/300)\n"})
        EXPECT_NE(std::string::npos,
                  tree.read("trace").find("stale mount point for (" + tree.path(name)));
    EXPECT_EQ(1U + 1U + 2 * 399, action.seen.size());
    EXPECT_EQ(1, logged("STA0063E.* /300 - Stale file handle\n"));
    EXPECT_EQ(1, logged("STA0063E.* /sub/300 - Stale file handle\n"));
    EXPECT_EQ(1, logged("AGT0144I .*: 802\n"));
}

TEST_P(GuardedStreamTest, AListingThatBreaksOffIsReportedAndCostsTheRestOfItsDirectory) {
    serve(2000);
    struct {
        const char* command;
        std::int32_t limit;  // seconds
        std::uint64_t listed;
    } const kCases[] = {
        {"break 1500", 0, 1500},
        {"break 1500", 1, 1500},
        {"break 0",    0, 0   },
        {"stick 1900", 1, 1900},
    };
    long reports = 0;
    for (const auto& [command, limit, listed] : kCases) {
        server->tell(command);
        nfsTimeout = limit;
        EXPECT_EQ(4, walk()) << command;
        EXPECT_EQ(1 + listed, action.seen.size()) << command;
        EXPECT_EQ(++reports, logged("STA0121E.* /\n"));
        server->tell("answer .");
        EXPECT_TRUE(comesBack());
    }
    server->tell("break 2000");  // the root's last entry, "sub", is not listed any more
    EXPECT_EQ(4, walk());
    EXPECT_EQ(1U + 2000U, action.seen.size());
}

TEST_P(GuardedStreamTest, AMountThatDiesEndsItsWalkAndIsWalkedAgainLater) {
    const int files = readAhead > 0 ? 2000 : 100;  // more than is read ahead by then
    const std::size_t everything = 2 + 2 * static_cast<std::size_t>(files);
    serve(files);
    if (readAhead > 0)
        server->tell("late 500");
    for (const std::string place : {"/50", "/sub", "/"}) {
        action.onAct = [&](const std::string& path) {
            if (path == place)
                server->stop();
        };
        EXPECT_GE(4, walk());
        EXPECT_GT(everything, action.seen.size());
        server->goOn();
        EXPECT_TRUE(comesBack());
        action.onAct = [](const std::string& /*path*/) {};
    }
    if (readAhead == 0) {  // else it can be open by then
        EXPECT_LE(1, logged("STA0121E.* /sub\n"));
    }
    EXPECT_EQ(0, walk());
    EXPECT_EQ(everything, action.seen.size());

    server->tell("hold *");
    EXPECT_EQ(4, walk());
    EXPECT_TRUE(action.seen.empty());
    server->tell("answer .");
}

TEST_P(GuardedStreamTest, AMountThatHangsIsAskedByFewThreadsAndProbed) {
    serve(10);
    tree.mkdirp("elsewhere");
    server->tell("hold *");
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(ESTALE, open("m"));
    server->tell("keep .");
    EXPECT_TRUE(comesBack()) << "though sixteen calls still hang";

    server->tell("hold *");
    const auto ask = [this] {
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(ESTALE, open("m"));
            EXPECT_EQ(0, open("elsewhere", std::chrono::seconds(20)));
            EXPECT_GE(16U + 1U + 1U, psThreadCount()) << "with a probe and the thread at work";
        }
    };
    std::vector<std::thread> others(static_cast<std::size_t>(readAhead));
    for (std::thread& thread : others)
        thread = std::thread(ask);
    ask();
    for (std::thread& thread : others)
        thread.join();
    server->tell("answer .");
    EXPECT_TRUE(comesBack());
}

TEST_P(GuardedStreamTest, AnswersAroundTheTimeoutBelongToTheirEntryOrAreLate) {
    serve(2000);
    server->tell("late 4000");
    int inTime = 0;
    int tooLate = 0;
    while (inTime + tooLate < 2000) {  // on a busy host the names may be late too
        std::unique_ptr<DirectoryStream> stream;
        const auto openRoot =
            readAhead > 0 ? SharedGuardedStream::openRoot : GuardedStream::openRoot;
        if (openRoot(tree.path("m"), milliseconds(4), stream) != 0)
            continue;
        for (const char* name = nullptr; stream->next(name) == 0 && name;) {
            EntryStat status;
            const int error = stream->attributes(name, status);
            ++(error == 0 ? inTime : tooLate);
            if (error != 0)
                EXPECT_EQ(ESTALE, error);
            else
                EXPECT_EQ(std::string(name) == "sub" ? 2 : 1000 + std::stol(name), status.size);
        }
    }
    EXPECT_GT(inTime, 0);
    EXPECT_GT(tooLate, 0);
}
