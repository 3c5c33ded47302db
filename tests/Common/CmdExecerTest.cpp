#include <gtest/gtest.h>

#include "Common/CmdExecer.h"
#include "support/TempTree.h"

TEST(CmdExecerTest, GivesTheCodeAndAppendsTheOutput) {
    const TempTree tree;
    const std::string out = tree.path("out put");
    const std::tuple<std::vector<std::string>, bool, int, std::string> kCases[] = {
        {{"printf", "%s", "a$((1+1))"},                    false, 0,   "a2"               },
        {{"printf", "%s", "`x` $y \"z\" \\ '"},            true,  0,   "`x` $y \"z\" \\ '"},
        {{"/bin/sh", "-c", "\"echo `echo 'b'`; exit 7\""}, false, 7,   "b\n"              },
        {{"kill -9 $$ "},                                  false, 9,   ""                 },
        {{"no-such-command"},                              true,  127, ""                 },
        {{},                                               true,  -1,  ""                 },
    };
    std::string all;
    for (const auto& [arguments, quote, code, output] : kCases) {
        EXPECT_EQ(code, CmdExecer(arguments, out, tree.path("err"), quote).execute());
        EXPECT_EQ(all += output, tree.read("out put"));
    }
    EXPECT_NE(std::string::npos, tree.read("err").find("no-such-command"));
    EXPECT_EQ(-1, CmdExecer({"sleep 60"}, "", "", false).execute(1)) << "and it is killed";
}
