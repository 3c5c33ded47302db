#include <csignal>
#include <cstring>

#include <gtest/gtest.h>

#include "common/unx/processStart.h"
#include "support/inChild.h"

TEST(ProcessStartTest, NothingEndsTheJobBeforeItsAgentHearsOfIt) {
    for (const int number : {SIGPIPE, SIGXFSZ, SIGHUP, SIGALRM}) {
        EXPECT_EQ(7, inChild([number] {
                      prepareProcess();
                      raise(number);
                      return 7;
                  }))
            << strsignal(number);
    }
}
