#include <regex>

#include <gtest/gtest.h>

#include "Common/LogManager.h"
#include "common/nls/nls.h"
#include "support/TempTree.h"

namespace {

class LogManagerTest : public testing::Test {
protected:
    LogManagerTest() {
        EXPECT_EQ(0, nlSetUp("cvnna.cat", SCAN_NLS_DIR));
        logManager = std::make_unique<LogManager>(tree.path("log/scan.log"));
    }
    ~LogManagerTest() override { logManager.reset(); }

    /// The log with each line's time as "T ".
    std::string logged() const {
        static const std::regex time(R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )");
        return std::regex_replace(tree.read("log/scan.log"), time, "$1T ");
    }
    static std::string text(const char* identifier, const MessageInsert& insert) {
        std::string result;
        logManager->getMsg(result, message::STA0532I.number, identifier, {insert});
        return result;
    }

    TempTree tree;
};

TEST_F(LogManagerTest, ALineIsTimeIdentifierAndText) {
    logMsg(message::STA0025I, {"/a\n2024 STA0161I \r\x1b[2J%s"});
    EXPECT_EQ(0, logManager->LogActivityLog("ends itself\n"));
    const std::string first = "T STA0025I Scanning file system /a 2024 STA0161I   [2J%s.\n";
    EXPECT_EQ(first + "T ends itself\n", logged());
}

TEST_F(LogManagerTest, TextsTakeIdentifierAndInserts) {
    const std::string said = "STA0532I These file systems are to be scanned:";
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
    EXPECT_EQ(621, logManager->LogActivityLog("text"));
}

TEST_F(LogManagerTest, AFailureIsLoggedUnderTheIdentifierItCarries) {
    logFailure(GenericException(1, 394, "/a", "STA0529E"));
    logFailure(GenericException(1, 394, "", "no identifier"));
    const std::string rest = " The mount table cannot be opened: ";
    EXPECT_EQ("T STA0529E" + rest + "/a\nT STA0094E" + rest + "<NULL>\n", logged());
}

}  // namespace
