#include <csignal>
#include <string>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "common/unx/childProcess.h"
#include "support/SignalStorm.h"
#include "support/inChild.h"

namespace {

/// Arguments of a shell that runs the command.
class Shell {
public:
    explicit Shell(const char* command) : arguments{kShell, "-c", command, nullptr} {
        program.arguments = arguments;
    }
    ChildProgram program;

private:
    const char* arguments[4];
};

TEST(ChildProcessTest, AChildOwnsNothingOfItsParent) {
    Shell shell(
        "grep -E '^Sig(Blk|Ign):.*[^0\t]' /proc/self/status || [ -e /proc/self/fd/99 ] || exit "
        "7");
    const auto run = [&shell] {
        dup2(STDIN_FILENO, 99);
        signal(SIGPIPE, SIG_IGN);
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        int status = 0;
        return waitForChild(startProgram(shell.program), status) == ChildWait::ENDED
                   ? WEXITSTATUS(status)
                   : 1;
    };
    EXPECT_EQ(7, inChild(run));
    shell.program.stderrPath = "/none/err";
    EXPECT_EQ(71, inChild(run));
}

TEST(ChildProcessTest, OutputIsReadWhateverTheProgramDoes) {
    const SignalStorm storm;
    const struct {
        const char* command;
        ChildWait wait;
        std::string text;
    } kCases[] = {
        {"sleep 0.1; echo a; sleep 0.1; echo b; exit 3", ChildWait::ENDED,     "a\nb\n"            },
        {"yes 1234567",                                  ChildWait::ENDED,     "1234567\n1234567\n"},
        {"exec >&-; sleep 0.3",                          ChildWait::ENDED,     ""                  },
        {"echo a; sleep 60",                             ChildWait::TIMED_OUT, "a\n"               },
        {"trap '' PIPE; while :; do echo a; done",       ChildWait::TIMED_OUT, ""                  },
        {"cat; echo >&2 a; echo end",                    ChildWait::ENDED,     "end\n"             },
        {"kill -STOP $$",                                ChildWait::TIMED_OUT, ""                  },
    };
    for (const auto& [command, wait, text] : kCases) {
        Shell shell(command);
        shell.program.quiet = true;
        const ProgramOutput output = runProgram(shell.program, {std::chrono::seconds(1)}, 16);
        EXPECT_EQ(wait, output.wait) << command;
        if (wait == ChildWait::ENDED) {
            EXPECT_EQ(text, output.text) << command;
        }
    }
    Shell missing("");
    const char* const arguments[] = {"/no/such", nullptr};
    missing.program.arguments = arguments;
    missing.program.quiet = true;
    EXPECT_EQ(71, WEXITSTATUS(runProgram(missing.program, {}, 16).status));
}

TEST(ChildProcessTest, AChildOfItsOwnGroupDiesWithItsParent) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    EXPECT_EQ(0, inChild([&] {
                  Shell shell("exec sleep 60");
                  shell.program.ownGroup = true;
                  shell.program.stdoutDescriptor = ends[1];
                  return startProgram(shell.program) > 0 ? 0 : 1;
              }));
    close(ends[1]);
    char byte = 0;
    EXPECT_EQ(0, read(ends[0], &byte, 1)) << "its output is closed";
    close(ends[0]);
}

}  // namespace
