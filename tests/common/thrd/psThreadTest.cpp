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
    EXPECT_EQ(0, psSetThreadStackSize(&joinable, 256 * 1024));
    EXPECT_EQ(109, psSetThreadStackSize(nullptr, 256 * 1024));
    psThreadRecord records[3];  // the last one is detached
    for (psThreadRecord& record : records) {
        record.attributes = &record == &records[2] ? nullptr : &joinable;
        record.start = waitForWord;
        record.argument = &record;
        record.stackSize = 256 * 1024;
        ASSERT_EQ(0, psThreadCreate(record));
        EXPECT_EQ(!record.attributes, record.detached);
    }
    EXPECT_EQ(3U, psThreadCount());
    void* result = nullptr;
#ifndef __SANITIZE_THREAD__  // which sees no locks on the way out of a cancelled thread
    EXPECT_EQ(0, pthread_cancel(records[1].thread));
#endif
    mayEnd = true;
    EXPECT_EQ(0, pthread_join(records[1].thread, nullptr));
    EXPECT_EQ(0, pthread_join(records[0].thread, &result));
    EXPECT_EQ(&records[0], result);
    while (psThreadCount() > 0)
        psThreadDelay(1);
    pthread_attr_destroy(&joinable);
}
