#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <thread>
#include <tuple>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/unx/UniqueFd.h"
#include "common/unx/statTap.h"

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class statTapTest : public testing::Test {
protected:
    statTapTest() {
        std::array<int, 2> ends{};
        EXPECT_EQ(0, pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK));
        in.reset(ends[0]);
        out.reset(ends[1]);
    }

    UniqueFd in;
    UniqueFd out;
};

TEST_F(statTapTest, ATapGoesThroughWhateverTheNumberOfTheDescriptor) {
    struct rlimit limit {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    const UniqueFd high(fcntl(in.get(), F_DUPFD_CLOEXEC, 1100));
    for (const int fd : {in.get(), high.get()}) {
        EXPECT_EQ(VS_TIMEOUT, tryOnTap(fd, RECEIVING, milliseconds(1)));
        EXPECT_EQ(0, tryOnTap(out.get(), SENDING, milliseconds(0)));
        EXPECT_EQ(0, tryOnTap(fd, RECEIVING, milliseconds(0)));
    }
    for (const auto& [fd, opType, error] : {
             std::tuple(-1, RECEIVING, EBADF),
             {987654,   SENDING, EBADF },
             {in.get(), 2,       EINVAL}
    }) {
        errno = 0;
        EXPECT_EQ(-1, tryOnTap(fd, opType, milliseconds(5)));
        EXPECT_EQ(error, errno) << fd;
    }
}

TEST_F(statTapTest, SignalsNeitherShortenAWaitNorEndIt) {
    struct sigaction handler {};
    handler.sa_handler = [](int) {};
    sigaction(SIGALRM, &handler, nullptr);
    const itimerval often = {
        {0, 2000},
        {0, 2000}
    };
    setitimer(ITIMER_REAL, &often, nullptr);
    const auto start = steady_clock::now();
    EXPECT_EQ(VS_TIMEOUT, tryOnTap(in.get(), RECEIVING, milliseconds(50)));
    EXPECT_GE(steady_clock::now() - start, milliseconds(50));
    std::thread later([this] {
        std::this_thread::sleep_for(milliseconds(20));
        EXPECT_EQ(0, tryOnTap(out.get(), SENDING, milliseconds(0)));
    });
    EXPECT_EQ(0, tryOnTap(in.get(), RECEIVING, milliseconds(0)));
    later.join();
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
}
