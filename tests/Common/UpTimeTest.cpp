#include <cerrno>

#include <gtest/gtest.h>

#include "Common/CommonAgent.h"
#include "Common/UpTime.h"
#include "Common/unix/psnautil.h"
#include "support/LogTest.h"

namespace {

struct FakeHost : CommonAgent {
    [[nodiscard]] std::int64_t getLastBootTime() const override { return boot; }
    std::int64_t boot = 1'000'000'000;
};

std::string bytes(std::initializer_list<std::uint64_t> values) {
    std::string text;
    for (const std::uint64_t value : values) {
        for (unsigned i = 0; i < 8; ++i)
            text += static_cast<char>(value >> 8 * i);
    }
    return text;
}

class UpTimeTest : public LogTest {
protected:
    UpTimeTest() { tree.mkdirp("agent/log"); }
    FakeHost host;
    UpTime upTime{&host, tree.path("agent")};
    const std::string file = "agent/log/UPTIME";
};

TEST_F(UpTimeTest, StartsARecordWithoutAWholeFile) {
    for (const std::size_t length : {std::string::npos, std::size_t{39}, std::size_t{0}}) {
        if (length != std::string::npos)
            tree.write(file, std::string(length, '\x7f'));
        const auto before = static_cast<std::uint64_t>(currentMilliseconds());
        EXPECT_EQ(0, upTime.initialize());
        EXPECT_LE(before, upTime.getBeganMonitoring());
        EXPECT_EQ(
            bytes({upTime.getBeganMonitoring(), 1'000'000'000, 0, upTime.getLastAlive(), 0}),
            tree.read(file));
        EXPECT_EQ(length == std::string::npos ? "" : "STA0119E",
                  tree.exists("log") ? lastLogged().substr(0, 8) : "");
    }
}

TEST_F(UpTimeTest, CountsABootAndTheTimeBeforeIt) {
    constexpr std::uint64_t kBoot = 0x0102030405060708;
    host.boot = kBoot;
    struct Case {
        std::uint64_t previousBoot, lastAlive, downTime, powerCycles;
    };
    for (const Case& c : {
             Case{kBoot - 5000,  kBoot - 9000000, 7,         3}, // the same boot
             {kBoot - 5001,  kBoot - 30000,   7 + 30000, 4},
             {kBoot - 5001,  kBoot - 19999,   7 + 20000, 4},
             {kBoot - 90000, kBoot + 5000,    7 + 20000, 4}, // the clock was set back
             {kBoot + 90000, kBoot - 9000000, 7,         3},
             {UINT64_MAX,    UINT64_MAX / 2,  7 + 20000, 4}, // nonsense heals
    }) {
        tree.write(file, bytes({5, c.previousBoot, 7, c.lastAlive, 3}));
        EXPECT_EQ(0, upTime.initialize());
        EXPECT_EQ(bytes({5, c.powerCycles == 4 ? kBoot : c.previousBoot, c.downTime,
                         upTime.getLastAlive(), c.powerCycles}),
                  tree.read(file));
    }
    EXPECT_EQ("\x08\x07\x06\x05\x04\x03\x02\x01", tree.read(file).substr(8, 8));
}

TEST_F(UpTimeTest, WritesWhatTheFileOrTheCallerSays) {
    tree.write(file, bytes({5, 6, 7, 8, 9}));
    EXPECT_EQ(0, upTime.writeBuf(true));
    EXPECT_EQ("5 6 7 9", std::to_string(upTime.getBeganMonitoring()) + " " +
                             std::to_string(upTime.getPreviousBoot()) + " " +
                             std::to_string(upTime.getDownTime()) + " " +
                             std::to_string(upTime.getPowerCycles()));
    tree.write(file, "short");
    EXPECT_EQ(0, upTime.writeBuf(true));  // the record stays
    EXPECT_EQ(bytes({5, 6, 7, upTime.getLastAlive(), 9}), tree.read(file));
    EXPECT_EQ(0, upTime.reset(77));
    EXPECT_EQ(bytes({77, 6, 0, upTime.getLastAlive(), 0}), tree.read(file));

    for (const char* const inTheWay : {"link", "fifo"}) {
        remove(tree.path(file).c_str());
        if (*inTheWay == 'l')
            tree.symlink(tree.path("agent/victim"), file);
        else
            tree.mkfifo(file);
        EXPECT_NE(0, upTime.writeBuf(true)) << inTheWay;
        EXPECT_FALSE(tree.exists("agent/victim"));
    }
    EXPECT_EQ(ENOENT, UpTime(&host, tree.path("none")).initialize());
}

}  // namespace
