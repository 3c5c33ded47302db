#include <algorithm>
#include <array>
#include <regex>
#include <sys/wait.h>
#include <unistd.h>

#include "support/LogTest.h"

namespace {

class LogManagerTest : public LogTest {
protected:
    /// The log with each line's time as "T ".
    std::string timeless() const {
        static const std::regex time(R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )");
        return std::regex_replace(tree.read("log"), time, "$1T ");
    }
    static std::string text(const char* identifier, const MessageInsert& insert) {
        std::string result;
        logManager->getMsg(result, message::STA0532I.number, identifier, {insert});
        return result;
    }
};

TEST_F(LogManagerTest, ALineIsTimeIdentifierAndText) {
    logMsg(message::STA0025I, {"/a\n2024 STA0161I \r\x1b[2J%s"});
    EXPECT_EQ(0, logManager->LogActivityLog("ends itself\n"));
    const std::string first = "T STA0025I Scanning file system /a 2024 STA0161I   [2J%s.\n";
    EXPECT_EQ(first + "T ends itself\n", timeless());
}

TEST_F(LogManagerTest, TextsTakeIdentifierAndInserts) {
    const std::string said = "STA0532I File systems of this scan:";
    EXPECT_EQ("NAA9999W" + said.substr(8) + "<NULL>", text("NAA9999W", ""));
    EXPECT_EQ(said + "x", text("NAA9999T", "x")) << "a label";
    EXPECT_EQ(said + std::string(4604, 'x'), text("STA0532I", std::string(5000, 'x')));
    EXPECT_EQ(said + "\n  /a\n", text("STA0532I", MessageInsert::lines("\n  /a\n")));
}

TEST_F(LogManagerTest, NeverWritesToWhatIsNoLog) {
    tree.touch("victim");
    tree.symlink("victim", "link");
    tree.mkfifo("fifo");
    for (const std::string& path : {tree.path("link"), tree.path("fifo"), tree.root()}) {
        logManager->setLogName(path);
        EXPECT_EQ(9, logManager->LogActivityLog("text")) << path;
    }
    EXPECT_EQ("", tree.read("victim"));
    logManager->setLogName("/dev/full");
    EXPECT_EQ(9, logManager->LogActivityLog("text"));
}

TEST_F(LogManagerTest, TwoProcessesLoseNoLine) {
    constexpr int runs = 1000;
    constexpr int lines = 3;
    for (int run = 0; run < runs; ++run) {
        // Every tenth run finds something to prune in both of its logs.
        if (run % 10 == 0) {
            tree.write("log", "foreign\n" + tree.read("log"));
            tree.write("other", "foreign\n");
        }
        std::array<pid_t, 2> processes{};
        for (pid_t& process : processes) {
            process = fork();
            if (process != 0)
                continue;
            for (int line = 0; line < lines; ++line)
                logManager->LogActivityLog("a line");
            logManager->setLogName(tree.path("other"));
            _exit(logManager->LogActivityLog("another"));
        }
        for (const pid_t process : processes) {
            int status = -1;
            ASSERT_EQ(process, waitpid(process, &status, 0));
            ASSERT_EQ(0, status);
        }
    }
    const std::string log = timeless();
    EXPECT_GE(8U, log.find("T a line\n"))
        << "pruned, or left to the next run while another wrote";
    EXPECT_EQ(2L * runs * lines, std::count(log.begin(), log.end(), 'T'));
}

TEST_F(LogManagerTest, AFailureIsLoggedUnderTheIdentifierItCarries) {
    logFailure(GenericException(1, 394, "/a", "STA0529E"));
    logFailure(GenericException(1, 394, "", "no identifier"));
    const std::string rest = " The mount table could not be opened: ";
    EXPECT_EQ("T STA0529E" + rest + "/a\nT STA0094E" + rest + "<NULL>\n", timeless());
}

}  // namespace
