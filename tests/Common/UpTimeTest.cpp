#include <vector>

#include "Common/CommonAgent.h"
#include "Common/UpTime.h"
#include "support/LogTest.h"

namespace {

constexpr std::uint64_t kBoot = 0x0102030405060708;

struct FakeHost : CommonAgent {
    [[nodiscard]] std::int64_t getLastBootTime() const override { return kBoot; }
};

using Record = std::vector<std::uint64_t>;

std::string bytes(const Record& record) {
    std::string text;
    for (unsigned i = 0; i < 8 * record.size(); ++i)
        text += static_cast<char>(record[i / 8] >> 8 * (i % 8));
    return text;
}

using UpTimeTest = LogTest;

TEST_F(UpTimeTest, CountsABootAndTheTimeBeforeItAndHealsADamagedFile) {
    const FakeHost host;
    UpTime upTime(&host, tree.path("agent"));
    tree.mkdirp("agent/log");
    const auto expect = [&](const Record& expected, const std::string& before) {
        if (!before.empty())
            tree.write("agent/log/UPTIME", before);
        EXPECT_EQ(0, upTime.initialize());
        const std::uint64_t began =
            expected[0] != 0 ? expected[0] : upTime.getBeganMonitoring();
        EXPECT_EQ(bytes({began, expected[1], expected[2], upTime.getLastAlive(), expected[3]}),
                  tree.read("agent/log/UPTIME"));
    };
    expect({0, kBoot, 0, 0}, "");
    expect({5, kBoot - 5000, 7, 3}, bytes({5, kBoot - 5000, 7, 0, 3}));
    expect({5, kBoot + 9000, 7, 3}, bytes({5, kBoot + 9000, 7, 0, 3}));
    expect({5, kBoot, 20008, 4}, bytes({5, kBoot - 5001, 7, kBoot - 20001, 3}));
    expect({5, kBoot, 20007, 4}, bytes({5, kBoot - 5001, 7, kBoot + 5000, 3}));
    expect({5, kBoot, 20007, 4}, bytes({5, UINT64_MAX, 7, UINT64_MAX / 2, 3}));
    EXPECT_FALSE(tree.exists("log"));
    expect({0, kBoot, 0, 0}, std::string(39, 'x'));
    EXPECT_TRUE(logged("STA0119E", "agent/log/UPTIME"));

    UpTime another(&host, tree.path("agent"));
    EXPECT_EQ(0, upTime.reset(9) + another.writeBuf(true));
    EXPECT_EQ(9 + kBoot, another.getBeganMonitoring() + another.getPreviousBoot());
}

}  // namespace
