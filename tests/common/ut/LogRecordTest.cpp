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
    [[nodiscard]] bool holds(int number) const {
        return content().find(numbered(number)) != std::string::npos;
    }

    /// The lines in the order of time, as "first-last"; "gap" where they are not.
    [[nodiscard]] std::string inOrder() const {
        const std::string text = content();
        const std::string ordered = text.substr(nextWrite()) + text.substr(0, nextWrite());
        std::vector<int> numbers;
        for (std::size_t at = ordered.find("\nline "); at != std::string::npos;
             at = ordered.find("\nline ", at + 1))
            numbers.push_back(std::stoi(ordered.substr(at + 6)));
        for (std::size_t i = 1; i < numbers.size(); ++i) {
            if (numbers[i] != numbers[i - 1] + 1)
                return "gap";
        }
        return numbers.empty()
                   ? ""
                   : std::to_string(numbers.front()) + "-" + std::to_string(numbers.back());
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
    EXPECT_TRUE(holds(20));
    struct stat status {};
    ASSERT_EQ(0, stat(tree.path("log").c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 07777U) << "as a new log";
}

TEST_F(LogRecordTest, AFullLogGoesOnBehindItsHeader) {
    ASSERT_TRUE(open(1000));
    const std::size_t header = content().find("\n\n") + 2;
    EXPECT_EQ("LOGHEADERREC " + std::to_string(header),
              content().substr(0, content().find(' ', 13)));
    EXPECT_EQ("1000      ", content().substr(25, 10));
    // A line takes its place if both marks and two bytes have room behind it.
    const int most = static_cast<int>((1000 - header - 4 - 3 - 2) / 20);
    lines(1, most);
    EXPECT_EQ(header + 20U * static_cast<std::size_t>(most), nextWrite());
    EXPECT_TRUE(content().ends_with(numbered(most) + "END\n"));
    lines(most + 1, most + 1);
    EXPECT_EQ(1000U, content().size());
    EXPECT_TRUE(content().ends_with("*\n"));
    EXPECT_NE(std::string::npos, content().find(numbered(most) + "WRAP "));
    EXPECT_EQ(header - 1 + 20, nextWrite());
    EXPECT_EQ(content().substr(header - 1, 24), numbered(most + 1) + "END\n");

    lines(most + 2, 3 * most);
    ASSERT_EQ(0, logClose(log));
    ASSERT_TRUE(open(1000));
    lines(3 * most + 1, 3 * most + 1);
    EXPECT_LE(content().size(), 1000U);
    EXPECT_TRUE(inOrder().ends_with("-" + std::to_string(3 * most + 1))) << inOrder();
    // A line that is longer than the log is cut.
    ASSERT_EQ(0, logWrite(log, std::string(5000, 'x') + "\n"));
    EXPECT_LE(content().size(), 1000U);
    ASSERT_EQ(0, logWrite(log, "next\n"));
    EXPECT_NE(std::string::npos, content().find("next\nEND\n"));
}

TEST_F(LogRecordTest, AnotherLimitKeepsTheNewestWholeLines) {
    for (const int written : {20, 60, 100, 101, 102, 103, 104, 105, 106, 107}) {
        std::filesystem::remove(tree.path("log"));
        ASSERT_TRUE(open(1000));
        lines(1, written);
        ASSERT_TRUE(open(2000));
        EXPECT_EQ("2000      ", content().substr(25, 10));
        EXPECT_EQ("1000", std::to_string(std::max<std::size_t>(1000, nextWrite())));
        lines(written + 1, written + 10);
        const std::string last = "-" + std::to_string(written + 10);
        EXPECT_TRUE(inOrder().ends_with(last)) << inOrder();
        ASSERT_TRUE(open(600));
        EXPECT_LE(content().size(), 600U);
        EXPECT_TRUE(inOrder().ends_with(last)) << inOrder();
        EXPECT_TRUE(holds(written - 8)) << "there is room for more than 20 lines";
        ASSERT_TRUE(open(0));
        EXPECT_TRUE(content().starts_with("line ")) << content();
        EXPECT_TRUE(content().ends_with("\n" + numbered(written + 10)));
        ASSERT_TRUE(open(0));
        EXPECT_EQ("", content()) << "no line has a date";
    }
    ASSERT_TRUE(open(1000));
    for (int number = 1; number <= 100; ++number)
        ASSERT_EQ(0, logWrite(log, day(0) + numbered(number)));
    ASSERT_TRUE(open(0));
    EXPECT_TRUE(content().starts_with(day(0))) << content();
    EXPECT_TRUE(content().ends_with(day(0) + numbered(100)));
    EXPECT_EQ(std::string::npos, content().find("WRAP"));
}

TEST_F(LogRecordTest, APlainLogBecomesOneThatWraps) {
    std::string old;
    for (int number = 1; number <= 50001; ++number)
        old += numbered(number);
    tree.write("log", old);
    ASSERT_TRUE(open(1000));
    EXPECT_EQ((std::vector<std::string>{"233", "232 25000", "232 50000"}), reports);
    EXPECT_TRUE(inOrder().ends_with("-50001"));
    EXPECT_LE(content().size(), 1000U);
    EXPECT_TRUE(holds(49970));
}

TEST_F(LogRecordTest, AForgedHeaderStartsTheLogOver) {
    const std::string product = " product\n\n";
    const std::string kForged[] = {
        "LOGHEADERREC 4000000000  1000      " + product,
        "LOGHEADERREC 3           1000      " + product,
        "LOGHEADERREC 900         1000      " + product,
        "LOGHEADERREC 300         1000      " + std::string(400, 'p') + product +
            std::string(900, 'x'),
        "LOGHEADERREC 1500        1000      " + product + std::string(2000, 'x'),
    };
    for (const std::string& forged : kForged) {
        for (const std::uint32_t maxWrap : {1000U, 700U, 2000U, 0U}) {
            tree.write("log", forged);
            ASSERT_TRUE(open(maxWrap)) << forged;
            lines(1, 3);
            EXPECT_LE(content().size(), std::max<std::size_t>(maxWrap, forged.size() + 60));
            EXPECT_TRUE(holds(3)) << forged << maxWrap;
            EXPECT_TRUE(maxWrap == 0 || inOrder() == "1-3") << content();
        }
    }
    // A line that a killed process left half written does not swallow the next one.
    for (const std::uint32_t maxWrap : {0U, 1000U}) {
        tree.write("log", day(0) + "ha");
        ASSERT_TRUE(open(maxWrap));
        lines(4, 4);
        EXPECT_NE(std::string::npos, content().find("ha\n" + numbered(4))) << maxWrap;
    }
    // What is no header is a line.
    for (const char* line :
         {"LOGHEADERREC x 1000\n", "LOGHEADERREC 100 0\n", "LOGHEADERREC 12"}) {
        tree.write("log", line);
        ASSERT_TRUE(open(1000));
        EXPECT_NE(std::string::npos, content().find("\n\n" + std::string(line)));
    }
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
