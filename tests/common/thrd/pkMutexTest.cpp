#include <thread>

#include <gtest/gtest.h>

#include "common/thrd/pkMutex.h"

TEST(pkMutexTest, AsManyReleasesAsAcquisitionsLetOthersIn) {
    const pkMutexOwner mutex(pkCreateMutex());
    std::atomic<bool> entered{false};
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(0, pkAcquireMutex(mutex.get()));
    std::thread other([&] {
        EXPECT_EQ(0, pkReleaseMutex(mutex.get())) << "of another thread: changes nothing";
        EXPECT_EQ(0, pkAcquireMutex(mutex.get()));
        entered = true;
        EXPECT_EQ(0, pkReleaseMutex(mutex.get()));
    });
    for (int i = 0; i < 3; ++i) {
        psThreadDelay(5);
        EXPECT_FALSE(entered);
        EXPECT_NE(0, pkDestroyMutex(mutex.get())) << "held";
        ASSERT_EQ(0, pkReleaseMutex(mutex.get()));
    }
    other.join();
    EXPECT_TRUE(entered);
    EXPECT_EQ(0, pkDestroyMutex(nullptr));
}

TEST(pkMutexTest, APlainLockTellsADeadlock) {
    const pkMutexOwner mutex(pkCreateMutex());
    ASSERT_EQ(0, pkAcquireMutexPlain(mutex.get()));
    EXPECT_EQ(PS_DEADLOCK, pkAcquireMutexPlain(mutex.get()));
    ASSERT_EQ(0, pkReleaseMutexPlain(mutex.get()));
    psSetEndPhase(true);
    EXPECT_EQ(0, pkReleaseMutexPlain(mutex.get())) << "no lock while there is one thread";
    psSetEndPhase(false);
}
