#include <cerrno>
#include <chrono>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "Scan/WalkTest.h"
#include "Scan/unix/GuardedStream.h"
#include "common/thrd/psThread.h"
#include "support/HangingMount.h"

using std::chrono::milliseconds;

class GuardedStreamTest : public WalkTest {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        tree.mkdirp("m");
        nfsTimeout = 1;
    }

    void serve(int files) { server = std::make_unique<HangingMount>(tree.path("m"), files); }

    /// Walks; every entry that is shown must have a record of its own.
    std::int32_t walk() {
        action.seen.clear();
        const std::int32_t rc = WalkTest::walk(factory, tree.path("m"));
        for (const auto& [path, file] : action.seen)
            EXPECT_EQ(file.faInodeNumber, file.faLength) << path;
        return rc;
    }

    /// Opens a directory within 30 ms: 0 or the errno value.
    [[nodiscard]] int open(const char* name) const {
        std::unique_ptr<DirectoryStream> stream;
        return GuardedStream::openRoot(tree.path(name), milliseconds(30), stream);
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

TEST_F(GuardedStreamTest, AnEntryThatHangsIsTheOnlyOneThatIsMissing) {
    serve(400);
    server->tell("hold 300");
    EXPECT_EQ(0, walk());
    EXPECT_EQ(1U + 1U + 2 * 399, action.seen.size());
    EXPECT_EQ(1, logged("STA0063E.* /300 - Stale file handle\n"));
    EXPECT_EQ(1, logged("STA0063E.* /sub/300 - Stale file handle\n"));
    EXPECT_EQ(1, logged("AGT0144I .*: 802\n"));
}

TEST_F(GuardedStreamTest, AMountThatDiesEndsItsWalkAndIsWalkedAgainLater) {
    serve(100);
    for (const std::string place : {"/50", "/sub", "/"}) {
        action.onAct = [&](const std::string& path) {
            if (path == place)
                server->stop();
        };
        EXPECT_EQ(0, walk());
        EXPECT_GT(2U + 2 * 100, action.seen.size());
        server->goOn();
        while (psThreadCount() > 1)  // those that hung come back
            psThreadDelay(10);
        action.onAct = [](const std::string& /*path*/) {};
    }
    EXPECT_LE(1, logged("STA0121E.* /sub\n"));
    EXPECT_EQ(0, walk());
    EXPECT_EQ(2U + 2 * 100, action.seen.size());

    server->tell("hold *");
    EXPECT_EQ(4, walk());
    EXPECT_TRUE(action.seen.empty());
    server->tell("answer .");
}

TEST_F(GuardedStreamTest, AMountThatHangsIsAskedByFewThreadsAndProbed) {
    serve(10);
    tree.mkdirp("elsewhere");
    server->tell("hold *");
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(ESTALE, open("m"));
    server->tell("keep .");
    EXPECT_TRUE(comesBack()) << "though sixteen calls still hang";

    server->tell("hold *");
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(ESTALE, open("m"));
        EXPECT_EQ(0, open("elsewhere"));
        EXPECT_GE(16U + 1U + 1U, psThreadCount()) << "with a probe and the thread at work";
    }
    server->tell("answer .");
    EXPECT_TRUE(comesBack());
}

TEST_F(GuardedStreamTest, AnswersAroundTheTimeoutBelongToTheirEntryOrAreLate) {
    serve(2000);
    server->tell("late 4000");
    int inTime = 0;
    int tooLate = 0;
    while (inTime + tooLate < 2000) {  // on a busy host the names may be late too
        std::unique_ptr<DirectoryStream> stream;
        if (GuardedStream::openRoot(tree.path("m"), milliseconds(4), stream) != 0)
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
