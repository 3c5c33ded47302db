#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "common/ut/LogRecord.h"
#include "support/TempTree.h"
#include "support/inChild.h"

namespace {

std::vector<std::string> reports;

/// A log that is written line by line, and what it says of its state.
class LogRecordTest : public testing::Test {
protected:
    LogRecordTest() {
        reports.clear();
        LogMessages messages;
        messages.text = [](int number) { return std::string(number == 216 ? "WRAP" : "END"); };
        messages.reportPath = [](int number, const std::string& /*path*/) {
            reports.push_back(std::to_string(number));
        };
        messages.reportFailure = [](int number, const std::string& /*path*/,
                                    const std::string& reason) {
            reports.push_back(std::to_string(number) + " " + reason);
        };
        messages.reportLines = [](int number, unsigned long lines) {
            reports.push_back(std::to_string(number) + " " + std::to_string(lines));
        };
        logUseMessages(messages);
    }
    ~LogRecordTest() override { logUseMessages({}); }

    bool open(std::uint32_t maxWrap, std::uint32_t retainDays = 10000, char disposition = 'D') {
        logSetup(log, maxWrap, tree.path("saved"), retainDays, disposition);
        return logOpen(log, tree.path("log"));
    }

    /// Writes lines "first", "first + 1", ..., "last", each of 20 bytes.
    void lines(int first, int last) {
        for (int number = first; number <= last; ++number)
            ASSERT_EQ(0, logWrite(log, numbered(number)));
    }

    static std::string numbered(int number) {
        std::string line = "line " + std::to_string(number);
        line.resize(19, '.');
        return line + "\n";
    }

    [[nodiscard]] std::string content() const { return tree.read("log"); }
    [[nodiscard]] std::size_t nextWrite() const { return std::stoul(content().substr(13, 12)); }
    [[nodiscard]] bool holds(const std::string& text) const {
        return content().find(text) != std::string::npos;
    }

    /// True if a log that wraps keeps to its limit and holds all lines from `oldest` at the
    /// latest to `newest` in the order of time.
    [[nodiscard]] bool keeps(int oldest, int newest) const {
        const std::string text = content();
        std::string ordered = text.substr(nextWrite()) + text.substr(0, nextWrite());
        for (int number = newest; number >= oldest; --number) {
            const std::size_t at = ordered.rfind("\n" + numbered(number));
            if (at == std::string::npos)
                return false;
            ordered.resize(at + 1);
        }
        return text.size() <= log.maxWrap;
    }

    static std::string day(int ago) {
        const std::time_t time = std::time(nullptr) - ago * 86400L;
        struct tm local {};
        localtime_r(&time, &local);
        std::array<char, 16> text{};
        std::strftime(text.data(), text.size(), "%Y-%m-%d ", &local);
        return text.data();
    }

    TempTree tree;
    LogRecord log;
};

TEST_F(LogRecordTest, ALockThatNobodyGivesBackIsAwaitedOnce) {
    EXPECT_EQ(0, inChild([this] {
                  tree.write("log", "");
                  tree.chmod("log", 0666);
                  const UniqueFd stranger(::open(tree.path("log").c_str(), O_RDONLY));
                  if (flock(stranger.get(), LOCK_EX) != 0 || !open(0))
                      return 1;
                  const auto start = std::chrono::steady_clock::now();
                  lines(1, 20);
                  const auto time = std::chrono::steady_clock::now() - start;
                  return time > std::chrono::seconds(20) ? 2 : 0;
              }));
    EXPECT_TRUE(holds(numbered(20)));
    struct stat status {};
    ASSERT_EQ(0, stat(tree.path("log").c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 07777U) << "as a new log";
}

TEST_F(LogRecordTest, AFullLogGoesOnAfterItsHeader) {
    ASSERT_TRUE(open(1000));
    const std::size_t header = content().find("\n\n") + 2;
    EXPECT_EQ(header, nextWrite());
    // A line takes its place if both marks and two bytes have room after it.
    const int most = static_cast<int>((1000 - header - 4 - 3 - 2) / 20);
    lines(1, most);
    EXPECT_EQ(header + 20U * static_cast<std::size_t>(most), nextWrite());
    EXPECT_TRUE(content().ends_with(numbered(most) + "END\n"));
    lines(most + 1, most + 1);
    EXPECT_EQ(1000U, content().size());
    EXPECT_TRUE(content().ends_with("*\n") && holds(numbered(most) + "WRAP "));
    EXPECT_EQ(header - 1 + 20, nextWrite());
    EXPECT_EQ(content().substr(header - 1, 24), numbered(most + 1) + "END\n");

    lines(most + 2, 3 * most);
    ASSERT_EQ(0, logClose(log));
    ASSERT_TRUE(open(1000));
    lines(3 * most + 1, 3 * most + 1);
    EXPECT_TRUE(keeps(2 * most + 4, 3 * most + 1)) << content();
    // A line that is longer than the log is cut.
    ASSERT_EQ(0, logWrite(log, std::string(5000, 'x') + "\n"));
    EXPECT_GE(1000U, content().size());
    ASSERT_EQ(0, logWrite(log, "next\n"));
    EXPECT_TRUE(holds("next\nEND\n"));
}

TEST_F(LogRecordTest, AnotherLimitKeepsTheNewestWholeLines) {
    for (const int written : {20, 60, 100, 101, 102, 103, 104, 105, 106, 107}) {
        std::filesystem::remove(tree.path("log"));
        ASSERT_TRUE(open(1000));
        lines(1, written);
        ASSERT_TRUE(open(2000));
        EXPECT_EQ("2000      ", content().substr(25, 10));
        lines(written + 1, written + 10);
        EXPECT_TRUE(keeps(written - 10, written + 10)) << content();
        ASSERT_TRUE(open(600));
        EXPECT_TRUE(keeps(written - 8, written + 10)) << content();
        ASSERT_TRUE(open(0));
        EXPECT_TRUE(content().starts_with("line ")) << content();
        EXPECT_TRUE(content().ends_with("\n" + numbered(written + 10)));
        EXPECT_FALSE(holds("WRAP"));
        ASSERT_TRUE(open(0));
        EXPECT_EQ("", content()) << "no line has a date";
    }
}

// Headers that tell nonsense are among the seeds of the fuzzer of logs.
TEST_F(LogRecordTest, APlainLogBecomesOneThatWraps) {
    std::string old = "LOGHEADERREC 100 0\n";  // no header, but a line
    for (int number = 1; number <= 50000; ++number)
        old += numbered(number);
    tree.write("log", old);
    ASSERT_TRUE(open(1100000));
    EXPECT_EQ((std::vector<std::string>{"233", "232 25000", "232 50000"}), reports);
    EXPECT_TRUE(holds("\n\nLOGHEADERREC 100 0\n" + numbered(1)));
    tree.write("log", old);
    ASSERT_TRUE(open(1000));
    EXPECT_TRUE(keeps(49970, 50000));
}

TEST_F(LogRecordTest, LinesBeforeTheFirstYoungOneArePruned) {
    const std::string foreign = "foreign\n";
    const std::string old = day(8) + "old\n";
    const std::string young = day(7) + "young\n";
    const std::string bad = "2024-13-01 no date\n";
    const std::pair<std::string, std::string> kLogs[] = {
        {young + old + foreign,                       young + old + foreign        },
        {foreign + old + bad + young + old + foreign, young + old + foreign        },
        {std::string(2000,                            'x') + "\n" + young + "end\n", young + "end\n"},
        {foreign + old,                                           ""                                                           },
        {"",                                           ""           },
    };
    for (const auto& [before, after] : kLogs) {
        tree.write("log", before);
        ASSERT_TRUE(open(0, 7, 'S'));
        EXPECT_EQ(after, content());
        const bool pruned = before != after;
        ASSERT_EQ(pruned, std::filesystem::exists(tree.path("saved"))) << before;
        EXPECT_EQ(before, (pruned ? tree.read("saved") : "") + after);
        std::filesystem::remove(tree.path("saved"));
        EXPECT_FALSE(std::filesystem::exists(tree.path("kelprune.log")));
    }
    // Without a copy the log stays as it was.
    tree.write("log", old + young);
    tree.mkdirp("kelprune.log");
    EXPECT_FALSE(open(0, 7));
    EXPECT_EQ(old + young, content());
    EXPECT_TRUE(open(0, 8));
}

TEST_F(LogRecordTest, OpensOnlyWhatIsALog) {
    tree.touch("victim");
    tree.symlink("victim", "link");
    tree.mkfifo("fifo");
    for (const char* path : {"link", "fifo", "", "victim/below/log"}) {
        reports.clear();
        logSetup(log, 1000, "", 0, 'D');
        EXPECT_FALSE(logOpen(log, tree.path(path)));
        ASSERT_EQ(1U, reports.size()) << path;
        EXPECT_TRUE(reports[0].starts_with("264 ")) << reports[0];
    }
    EXPECT_FALSE(logOpen(log, std::string(1024, 'x')));
    EXPECT_TRUE(logOpen(log, tree.path("new/directories/log")));
    EXPECT_EQ("", tree.read("victim"));
}

}  // namespace
