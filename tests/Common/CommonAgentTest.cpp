#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>

#include "Common/CommonAgent.h"
#include "Common/unix/psnautil.h"
#include "support/LogTest.h"
#include "support/ownNamespace.h"

class CommonAgentTest : public LogTest {};

TEST_F(CommonAgentTest, TheBootIsTheUpTimeAgoOrUnknown) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    tree.mkdirp("proc");
    const CommonAgent& agent = *CommonAgentFactory::getCommonAgent();
    whileCovered(tree.path("proc"), "/proc", [&] {
        EXPECT_EQ(0, agent.getLastBootTime());
        EXPECT_EQ("AGT0069E", lastLogged().substr(0, 8));
        EXPECT_TRUE(lastLogged().ends_with(": /proc/uptime - No such file or directory\n"));

        for (const char* const useless : {"", "up", "-1.5 2", "nan 1", "1e300"}) {
            tree.write("proc/uptime", useless);
            EXPECT_EQ(0, agent.getLastBootTime()) << useless;
            EXPECT_EQ("AGT0071E", lastLogged().substr(0, 8));
        }
        tree.write("proc/uptime", "100.25 7.5\n");
        const std::int64_t before = currentMilliseconds();
        const std::int64_t boot = agent.getLastBootTime();
        EXPECT_LE(before - 100250, boot);
        EXPECT_GE(currentMilliseconds() - 100250, boot);

        remove(tree.path("proc/uptime").c_str());
        tree.mkdirp("proc/uptime");
        EXPECT_EQ(0, agent.getLastBootTime());
        EXPECT_TRUE(lastLogged().ends_with(": /proc/uptime - Is a directory\n"));
    });
}

TEST_F(CommonAgentTest, TheTimeZoneIsAnOffset) {
    for (const auto& [zone, offset] : {
             std::pair{"UTC0",     "GMT+00:00"},
             {"IST-5:30", "GMT+05:30"},
             {"NST3:30",  "GMT-03:30"}
    }) {
        setenv("TZ", zone, 1);
        tzset();
        EXPECT_EQ(offset, CommonAgent::getTimeZone());
    }
    unsetenv("TZ");
    tzset();
}
