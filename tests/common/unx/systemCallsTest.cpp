#include <array>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/unx/UniqueFd.h"
#include "common/unx/systemCalls.h"
#include "support/SignalStorm.h"
#include "support/TempTree.h"
#include "support/inChild.h"

TEST(SystemCallsTest, AllBytesPassAPipeInAStormOfSignals) {
    std::array<int, 2> ends{};
    ASSERT_EQ(0, pipe(ends.data()));
    const UniqueFd readEnd(ends[0]);
    UniqueFd writeEnd(ends[1]);
    std::string text(1 << 20, 'a');
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<char>('a' + i % 23);

    const SignalStorm storm;
    std::string arrived(text.size() + 1, '\0');
    ssize_t length = 0;
    std::thread reader([&] {
        pauseFor(std::chrono::milliseconds(50));  // the writer waits in a full pipe
        length = readWhole(readEnd.get(), arrived.data(), arrived.size());
    });
    EXPECT_TRUE(writeWhole(writeEnd.get(), text));
    writeEnd.reset();
    reader.join();
    EXPECT_EQ(static_cast<ssize_t>(text.size()), length);
    arrived.pop_back();
    EXPECT_TRUE(text == arrived);

    const auto start = std::chrono::steady_clock::now();
    pauseFor(std::chrono::milliseconds(200));
    EXPECT_LE(std::chrono::milliseconds(200), std::chrono::steady_clock::now() - start);
}

TEST(SystemCallsTest, WhatDoesNotFitFailsWithItsReason) {
    const TempTree tree;
    tree.touch("file");
    const auto at = [&](int offset) {
        return inChild([&] {
            signal(SIGXFSZ, SIG_IGN);
            const struct rlimit limit { 10, 10 };
            setrlimit(RLIMIT_FSIZE, &limit);
            const UniqueFd file(openFile(tree.path("file").c_str(), O_RDWR));
            return writeWholeAt(file.get(), "1234567", static_cast<std::uint64_t>(offset))
                       ? 0
                       : errno;
        });
    };
    EXPECT_EQ(0, at(3));
    EXPECT_EQ(EFBIG, at(4));
    int calls = 0;
    const auto interrupted = [&calls] {
        errno = EINTR;
        return ++calls > 100 ? 7 : -1;
    };
    EXPECT_EQ(7, uninterrupted(interrupted));
    EXPECT_EQ(-1, uninterrupted([] { return errno = EINTR, -1; })) << "and it ends";
}
