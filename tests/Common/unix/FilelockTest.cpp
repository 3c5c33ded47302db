#include <gtest/gtest.h>

#include "Common/unix/Filelock.h"
#include "support/TempTree.h"
#include "support/inChild.h"

TEST(FilelockTest, OneProcessAtATimeHoldsIt) {
    const TempTree tree;
    Filelock lock(tree.path("lck"));
    // Takes the lock in another process, which dies with it.
    const auto take = [&tree] {
        return inChild([&tree]() -> int {
            Filelock other(tree.path("lck"));
            _exit(other.lockFile() + (other.isLocked() ? 1 : 0));
        });
    };
    EXPECT_EQ(0, take());
    EXPECT_TRUE(tree.exists("lck")) << "left by a process that died";
    ASSERT_EQ(0, lock.lockFile());

    // To look at the file must not give the lock back.
    std::string data;
    EXPECT_FALSE(lock.isLocked());
    EXPECT_EQ(0, lock.writeProcessId("some data"));
    EXPECT_EQ(getpid(), lock.readProcessId(data));
    EXPECT_EQ("some data", data);
    EXPECT_EQ(Filelock::LOCKED + 1, take());
    EXPECT_EQ(Filelock::LOCKED, inChild([&] { return Filelock(tree.path("lck")).lockFile(); }));
    EXPECT_EQ(0, lock.unlockFile());
    EXPECT_FALSE(tree.exists("lck"));
    EXPECT_EQ(Filelock::LOCK_FAILED, Filelock(tree.path("none/lck")).lockFile());
}
