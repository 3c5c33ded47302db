#include <atomic>

#include <gtest/gtest.h>

#include "common/thrd/psThread.h"

namespace {

std::atomic<bool> mayEnd{false};

void* waitForWord(void* argument) {
    while (!mayEnd)
        psThreadDelay(1);
    return argument;
}

}  // namespace

TEST(psThreadTest, AThreadCountsUntilItEndsOrIsCancelled) {
    mayEnd = false;
    pthread_attr_t joinable;
    ASSERT_EQ(0, pthread_attr_init(&joinable));
    ASSERT_EQ(0, psSetThreadStackSize(&joinable, 256 * 1024));
    EXPECT_EQ(109, psSetThreadStackSize(nullptr, 256 * 1024));
    psThreadRecord first;
    psThreadRecord second;
    for (psThreadRecord* record : {&first, &second}) {
        record->attributes = &joinable;
        record->start = waitForWord;
        record->argument = record;
        ASSERT_EQ(0, psThreadCreate(*record));
        EXPECT_FALSE(record->detached);
    }
    psThreadRecord detached;
    detached.start = waitForWord;
    detached.stackSize = 256 * 1024;
    ASSERT_EQ(0, psThreadCreate(detached));
    EXPECT_TRUE(detached.detached);
    EXPECT_EQ(3U, psThreadCount());

    void* result = nullptr;
#ifndef __SANITIZE_THREAD__  // which sees no locks on the way out of a cancelled thread
    ASSERT_EQ(0, pthread_cancel(second.thread));
    ASSERT_EQ(0, pthread_join(second.thread, &result));
    EXPECT_EQ(PTHREAD_CANCELED, result);
    EXPECT_EQ(2U, psThreadCount());
    mayEnd = true;
#else
    mayEnd = true;
    ASSERT_EQ(0, pthread_join(second.thread, &result));
#endif
    ASSERT_EQ(0, pthread_join(first.thread, &result));
    EXPECT_EQ(&first, result);
    while (psThreadCount() > 0)
        psThreadDelay(1);
    pthread_attr_destroy(&joinable);
}
