#include <cstdlib>

#include "Common/CommonAgent.h"
#include "Common/unix/psnautil.h"
#include "support/LogTest.h"
#include "support/ownNamespace.h"

using CommonAgentTest = LogTest;

TEST_F(CommonAgentTest, TheBootIsTheUpTimeAgoOrUnknown) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const CommonAgent& agent = *CommonAgentFactory::getCommonAgent();
    inOwnNamespace(tree.root(), "/proc", [&] {
        EXPECT_EQ(0, agent.getLastBootTime());
        EXPECT_TRUE(logged("AGT0069E", "/proc/uptime - No such file or directory"));
        for (const char* const useless : {"", "up", "-1.5 2", "nan 1", "1e300"}) {
            tree.write("uptime", useless);
            EXPECT_EQ(0, agent.getLastBootTime()) << useless;
            EXPECT_TRUE(logged("AGT0071E", "/proc/uptime"));
        }
        tree.write("uptime", "100.25 7.5\n");
        const std::int64_t before = currentMilliseconds();
        const std::int64_t boot = agent.getLastBootTime();
        EXPECT_TRUE(before - 100250 <= boot && boot <= currentMilliseconds() - 100250);
    });
}

TEST_F(CommonAgentTest, TheTimeZoneIsAnOffset) {
    setenv("TZ", "NST+03:30", 1);  // west of Greenwich
    tzset();
    EXPECT_EQ("GMT-03:30", CommonAgent::getTimeZone());
    unsetenv("TZ");
}
