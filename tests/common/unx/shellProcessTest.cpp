#include <csignal>

#include <gtest/gtest.h>

#include "common/unx/shellProcess.h"
#include "support/inChild.h"

TEST(ShellProcessTest, AChildOwnsNothingOfItsParent) {
    ShellCommand shell;
    shell.text =
        "grep -E '^Sig(Blk|Ign):.*[^0\t]' /proc/self/status || [ -e /proc/self/fd/99 ] || exit "
        "7";
    const auto run = [&shell] {
        dup2(STDIN_FILENO, 99);
        signal(SIGPIPE, SIG_IGN);
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        int status = 0;
        return waitForChild(startShell(shell), status) == 0 ? WEXITSTATUS(status) : 1;
    };
    EXPECT_EQ(7, inChild(run));
    shell.stderrPath = "/none/err";
    EXPECT_EQ(71, inChild(run));
}
