#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Common/AgentArgs.h"
#include "support/TempTree.h"

namespace {

class AgentArgsTest : public testing::Test {
protected:
    ~AgentArgsTest() override { std::filesystem::current_path("/"); }

    /// Makes `args` of a program's name and words, with blanks between them.
    AgentArgs& command(const std::string& line) {
        std::istringstream stream(line);
        words.assign(std::istream_iterator<std::string>(stream), {});
        argv.clear();
        for (const std::string& word : words)
            argv.push_back(word.c_str());
        const int argc = static_cast<int>(argv.size());
        args = std::make_unique<AgentArgs>(argc, argv.data(), AgentArgs::kProgramScan);
        return *args;
    }
    int parse(const std::string& l) { return command(tree.path("bin/scan ") + l).parse(); }
    /// "code currentArg lastError"
    std::string outcome(const std::string& line) {
        const std::string code = std::to_string(parse(line));
        return code + " " + args->currentArg + " " + args->lastError;
    }
    /// Log, trace and data file of a job whose install location is the tree, as ".".
    std::string names(const std::string& line) {
        std::filesystem::current_path(tree.root());
        command("scan " + line).installLoc = ".";
        EXPECT_EQ(0, args->parse());
        return args->logFile + " " + args->traceFile + " " + args->dataFile;
    }

    TempTree tree;
    std::unique_ptr<AgentArgs> args;
    std::vector<std::string> words;
    std::vector<const char*> argv;
};

TEST_F(AgentArgsTest, FillsTheFieldsOrTellsWhatIsWrong) {
    const std::pair<const char*, const char*> kWrong[] = {
        {"-VERSION -debug MIN",            "3 -debug "                             },
        {"word",                           "3 word "                               },
        {"-debug",                         "3 -debug Invalid debug mode"           },
        {"-agentcom x,",                   "6 -agentcom agentCom not specified"    },
        {"-agentcom x,-1",                 "6 -agentcom agentCom not specified"    },
        {"-maxlogsize",                    "6 -maxlogsize maxLogSize not specified"},
        {"-jobname ..",                    "3 -jobname Invalid name"               },
        {"-jobname a//./b",                "3 -jobname Invalid name"               },
        {"-servername ../x -agentcom 0,1", "3 -servername Invalid name"            },
    };
    for (const auto& [line, expected] : kWrong)
        EXPECT_EQ(expected, outcome(line));
    EXPECT_EQ(1, args->agentCom) << "to be told";
    EXPECT_EQ(3, parse("-" + std::string(3000, 'x')));
    EXPECT_EQ(0, parse("-jobname /a..b/.c -servername ...//d/"));
    EXPECT_EQ(59, command("/elsewhere/scan").parse());

    const std::string line = "-SCAN -JobName \"abcd -DEBUG mid -maxlogsize 0 -nfstimeout x";
    ASSERT_EQ(0, parse(line + " -profile \" -serverip 1.2.3.4_5.6 -maxnumlogs 4294967301"));
    EXPECT_EQ("SCANabcMID", args->commandName + args->jobName + args->debug + args->profile);
    EXPECT_EQ(std::vector<std::string>({"1.2.3.4", "5.6"}), args->serverIPs);
    EXPECT_EQ(1024, args->maxLogSize);
    EXPECT_EQ(5, args->maxNumLogs) << "cut to 32 bits";
}

TEST_F(AgentArgsTest, TakesOverTheAgentsPipe) {
    int pipe[2];
    ASSERT_EQ(0, ::pipe(pipe));
    const std::string kept = "," + std::to_string(pipe[1]);
    EXPECT_EQ(0, parse("-agentcom " + std::to_string(pipe[0]) + kept));
    EXPECT_EQ(-1, fcntl(pipe[0], F_GETFD)) << "the agent's end stayed open";
    EXPECT_EQ(pipe[1], args->agentCom);
    EXPECT_EQ(FD_CLOEXEC, fcntl(pipe[1], F_GETFD));
    EXPECT_EQ(0, parse("-agentcom 1" + kept));
    EXPECT_NE(-1, fcntl(STDOUT_FILENO, F_GETFD)) << "a file would take its place";
    close(pipe[1]);
}

TEST_F(AgentArgsTest, TheProgramIsFoundByAnAbsoluteNameOrOnPath) {
    tree.mkdirp("folder/bin/scan");
    tree.mkdirp("good/bin");
    tree.touch("good/scan");
    tree.touch("good/bin/scan");
    tree.chmod("good/bin/scan", 0755);
    tree.mkdirp("linked");
    tree.symlink("../good/bin", "linked/bin");
    EXPECT_EQ(tree.path("linked"),
              command(tree.path("linked/bin/.././/bin//scan")).getProgramDir());
    for (const char* name : {"/programs/scan", "/bin/scan", "/../bin/scan", "/scan", "/", ""})
        EXPECT_EQ("", command(name).getProgramDir()) << name;
    std::filesystem::current_path(tree.path("good/bin"));
    const std::string bad = tree.path("good:") + tree.path("folder/bin");
    for (const std::string more : {":../../good/bin", ":", "::/x", ""}) {
        setenv("PATH", (bad + more).c_str(), 1);
        EXPECT_EQ(more.empty() ? "" : tree.path("good"), command("scan").getProgramDir());
    }
    EXPECT_EQ("", command("../bin/scan").getProgramDir());
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
}

TEST_F(AgentArgsTest, NamesTheFilesOfTheJob) {
    tree.mkdirp("log/s");
    tree.touch("log/s/scan_000004.log", 5000);
    tree.touch("log/s/scan_000002.trace");
    const std::string run = " -sidrunnumber 3 -jobrunnumber 12";
    const std::string j = "J.0003_scan.00000012";
    EXPECT_EQ("./log/" + j + ".log ./log/" + j + ".trace ./output/" + j + ".dat",
              names("-jobname J -debug MIN" + run));
    EXPECT_EQ("./log/agent_000001.log  ./output/InitialFSScan1.0003_scan.00000012.dat",
              names("-jobname InitialFSScan1" + run));
    EXPECT_EQ("./log/s/scan_000004.log ./log/s/scan_000003.trace ./output/s/scan.dat",
              names("-servername s -debug MAX"));
    EXPECT_EQ("./log/s/scan_000005.log  ./output/s/scan.dat",
              names("-servername s -maxlogsize 5"));
}

}  // namespace
