#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>
#include <tuple>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/unx/StatContext.h"
#include "common/unx/UniqueFd.h"
#include "common/unx/statTap.h"
#include "support/SignalStorm.h"

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
    const SignalStorm storm;
    const auto start = steady_clock::now();
    EXPECT_EQ(VS_TIMEOUT, tryOnTap(in.get(), RECEIVING, milliseconds(50)));
    EXPECT_GE(steady_clock::now() - start, milliseconds(50));
    char byte = 0;
    const auto sent = [this](const auto& receive) {
        std::thread later([this] {
            std::this_thread::sleep_for(milliseconds(20));
            EXPECT_EQ(0, tryOnTap(out.get(), SENDING, milliseconds(0)));
        });
        const long rc = receive();
        later.join();
        return rc;
    };
    EXPECT_EQ(0, sent([this] { return tryOnTap(in.get(), RECEIVING, milliseconds(0)); }));
    fcntl(in.get(), F_SETFL, 0);
    EXPECT_EQ(1, sent([&] {  // the calls of helper threads, too
                  return StatContext::cancellable(SYS_read, in.get(),
                                                  reinterpret_cast<long>(&byte), 1, 0, 0);
              }));
}
