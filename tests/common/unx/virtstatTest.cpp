#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <gtest/gtest.h>

#include "common/thrd/psThread.h"
#include "common/unx/statTap.h"
#include "common/unx/virtstat.h"
#include "support/FailingNew.h"
#include "support/HangingMount.h"
#include "support/TempTree.h"

namespace {

long openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// Waits until that many helper threads are left, half a minute at most.
std::size_t threadsAfterFallTo(std::size_t count) {
    for (int i = 0; i < 3000 && psThreadCount() > count; ++i)
        psThreadDelay(10);
    return psThreadCount();
}

/// Takes some milliseconds and has no steps.
class Pause : public GuardedWork {
public:
    explicit Pause(long milliseconds) : time{0, milliseconds * 1'000'000} {}

    int run(StatContext& /*context*/) override {
        const long end =
            StatContext::cancellable(SYS_nanosleep, reinterpret_cast<long>(&time), 0, 0, 0, 0);
        return end == 0 ? 0 : errno;
    }
    [[nodiscard]] const char* name() const override { return "/a place of some length"; }

private:
    const timespec time;
};

/// The size of a file, or the negative errno value.
long sizeOf(const std::string& path, int seconds) {
    struct stat status {};
    int error = 0;
    const int rc = kelNFSsyscalls(path.c_str(), 0, &status, VIRTSTAT_LSTAT, seconds, error);
    return rc == 0 ? status.st_size : -error;
}

}  // namespace

TEST(virtstatTest, OperationsGiveTheSameWithAndWithoutATimeout) {
    const TempTree tree;
    tree.touch("file", 77);
    tree.symlink("file", "link");
    const long descriptors = openDescriptors();
    for (const int seconds : {0, -5, 60}) {
        struct stat file {};
        struct stat link {};
        struct statfs space {};
        int error = -1;
        const auto call = [&](const char* name, void* buffer, int op) {
            return kelNFSsyscalls(tree.path(name).c_str(), 1, buffer, op, seconds, error);
        };
        EXPECT_EQ(0, call("link", &file, VIRTSTAT_STAT));
        EXPECT_EQ(0, call("link", &link, VIRTSTAT_LSTAT));
        EXPECT_EQ(0, call("file", &space, VIRTSTAT_STATFS));
        EXPECT_EQ(0, error);
        EXPECT_EQ(77, file.st_size);
        EXPECT_TRUE(S_ISLNK(link.st_mode));
        EXPECT_NE(0U, space.f_blocks);
        EXPECT_EQ(-1, call("none", &file, VIRTSTAT_STAT));
        EXPECT_EQ(ENOENT, error);
        for (const int op : {1, 4, -1}) {
            EXPECT_EQ(-1, call("file", &file, op));
            EXPECT_EQ(EINVAL, error);
        }
        if (seconds <= 0) {
            EXPECT_EQ(descriptors, openDescriptors()) << "no pipe without a time-out";
        }
    }
}

TEST(virtstatTest, AfterTheCleanUpThereIsNoThreadAndNoGuardedCall) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";  // a process that begins anew
    const auto story = [] {
        const TempTree tree;
        tree.touch("file", 5);
        const long descriptors = openDescriptors();
        if (sizeOf(tree.path("file"), 60) != 5 || openDescriptors() != descriptors + 4)
            return 1;
        virtStatCleanUp();
        if (threadsAfterFallTo(0) != 0 || openDescriptors() != descriptors)
            return 2;
        return sizeOf(tree.path("file"), 60) == -EINVAL && psThreadCount() == 0 ? 0 : 3;
    };
    EXPECT_EXIT(std::exit(story()), testing::ExitedWithCode(0), "");
}

TEST(virtstatTest, ACallThatHangsCostsItsTimeoutAndTheNextOneWorks) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const TempTree tree;
    tree.mkdirp("m");
    tree.touch("elsewhere", 5);
    const HangingMount server(tree.path("m"), 100);
    EXPECT_EQ(1000, sizeOf(tree.path("m/0"), 60));
    const long descriptors = openDescriptors();

    server.tell("hold 7");
    EXPECT_EQ(-ESTALE, sizeOf(tree.path("m/7"), 1)) << "read by the server";
    EXPECT_EQ(1008, sizeOf(tree.path("m/8"), 60));
    server.stop();
    EXPECT_EQ(-ESTALE, sizeOf(tree.path("m/9"), 1)) << "not read by the server";
    EXPECT_EQ(5, sizeOf(tree.path("elsewhere"), 60));
    EXPECT_EQ(3U, psThreadCount());

    server.goOn();
    server.tell("answer .");
    EXPECT_EQ(1007, sizeOf(tree.path("m/7"), 60));
    EXPECT_EQ(1U, threadsAfterFallTo(1)) << "the one that waits for the next call";
    EXPECT_EQ(descriptors, openDescriptors());
}

TEST(virtstatTest, ACallForWhichMemoryIsShortLeavesItsPlaceToOthers) {
    const auto call = [](long pause, long after) {
        int error = 0;
        const auto work = std::make_shared<Pause>(pause);
        const std::chrono::milliseconds limit(pause > 0 ? 2 : 60000);
        const FailingNew shortage(FailingNew::OWN, after);
        try {
            static_cast<void>(guardedCall(work, limit, error));
        } catch (const std::bad_alloc&) {
            error = ENOMEM;
        }
        return FailingNew::hasFailed() ? ENOMEM : error;
    };
    EXPECT_EQ(0, call(0, 1000)) << "which makes the lock";
    // More often than there are places. Where sixteen threads hang, other rules hold.
    for (const int hanging : {0, 16}) {
        for (int i = 0; i < hanging; ++i)
            EXPECT_EQ(ESTALE, call(500, 1000));
        for (const long pause : {0, 6}) {
            int after = 0;
            for (int error = ENOMEM; error == ENOMEM; ++after) {
                for (int i = pause > 0 ? 14 : 0; i < 17; ++i)
                    error = call(pause, after);
            }
            EXPECT_LT(1, after);
        }
    }
    EXPECT_EQ(0, call(0, 1000));
    EXPECT_GE(kMostGuardedCalls, threadsAfterFallTo(kMostGuardedCalls));
}

TEST(virtstatTest, AThreadIsGivenUpOnlyInTheStepThatTookTooLong) {
    class Steps : public GuardedWork {
    public:
        int run(StatContext& context) override {
            for (int step = 1; step <= 2; ++step) {
                while (mayDo < step)
                    psThreadDelay(1);
                static_cast<void>(context.publish(0, [&] { done = step; }));
            }
            return 0;
        }
        [[nodiscard]] const char* name() const override { return "steps"; }
        void await(int step) {
            mayDo = step;
            while (done < step)
                psThreadDelay(1);
        }

    private:
        std::atomic<int> mayDo{0};
        std::atomic<int> done{0};
    };
    const std::size_t threads = psThreadCount();
    const auto steps = std::make_shared<Steps>();
    const StatContext::Share context = StatContext::create();
    context->setWork(steps);
    StatContext::Step seen = context->step();
    const std::chrono::minutes limit(1);
    ASSERT_EQ(0, tryOnTap(context->requestWrite(), SENDING, limit));
    steps->await(1);
    EXPECT_FALSE(context->abandonIn(seen)) << "the first step returned, and the second began";
    steps->await(2);
    ASSERT_EQ(0, tryOnTap(context->replyRead(), RECEIVING, limit));
    EXPECT_FALSE(context->abandonIn(seen)) << "all is done";
    EXPECT_TRUE(context->abandonIn(seen));
    EXPECT_EQ(threads, threadsAfterFallTo(threads));
}
