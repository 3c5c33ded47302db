#include <cstdlib>

#include <gtest/gtest.h>

#include "Common/unix/psnautil.h"
#include "support/inChild.h"

TEST(PsnautilTest, TellsProcessesThatRunFromThoseThatDoNot) {
    EXPECT_TRUE(psIsProcessRunning(getpid(), "unit_tests"));
    EXPECT_FALSE(psIsProcessRunning(getpid(), "no such program"));
    const std::string path = std::getenv("PATH");
    for (const std::string& directory : {path, std::string("/none")}) {  // there is no ps
        setenv("PATH", directory.c_str(), 1);
        EXPECT_TRUE(psIsProcessRunning(getpid(), nullptr));
        for (const pid_t gone : {deadProcess(), 0, -1, -getpid(), INT32_MAX})
            EXPECT_FALSE(psIsProcessRunning(gone, nullptr)) << gone;
    }
    setenv("PATH", path.c_str(), 1);
}
