#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Common/unix/psmsgutil.h"
#include "common/ut/TraceScope.h"
#include "common/ut/traceClasses.h"
#include "common/ut/traceControl.h"
#include "support/TempTree.h"

/// A trace file in a directory of its own, without what stands before the text of a line.
class traceTest : public testing::Test {
protected:
    traceTest() {
        static_cast<void>(trSetFlags("", true, kFoundationClasses, kFoundationAggregates));
        trClearFlags(kFoundationClasses);
        naMin = 1;
    }
    ~traceTest() override {
        closeTrace();
        trClearFlags(kFoundationClasses);
    }

    void openTrace(std::uint32_t megabytes) const {
        naMin = 1;
        trSetMax(megabytes);
        ASSERT_EQ(0, trOpen(tree.path("t"), false));
    }

    /// Traces so many lines "first .. last", each 1000 bytes long.
    static void lines(int first, int last) {
        for (int i = first; i <= last; ++i)
            trTrace(naMin, "%-999d\n", i);
    }

    /// Where the header says that the next line goes.
    [[nodiscard]] std::size_t nextWrite(const std::string& name = "t") const {
        return std::strtoul(tree.read(name).substr(12, 12).c_str(), nullptr, 10);
    }

    [[nodiscard]] bool holds(const std::string& name, const std::string& text) const {
        return tree.read(name).find(text) != std::string::npos;
    }

    const TempTree tree;
};

TEST_F(traceTest, ALineIsWrittenOnlyOfAClassThatIsOnAndForgesNoOther) {
    openTrace(1);
    int evaluated = 0;
    naMax = 0;
    trTrace(naMax, "never %d\n", ++evaluated);
    EXPECT_EQ(0, evaluated);
    errno = ENOTTY;
    trTrace(naMin, "once %d", ++evaluated);
    trError("always\n");
    EXPECT_EQ(ENOTTY, errno);
    naEnter = naExit = 1;
    { const TraceScope scope("work"); }
    naEnter = naExit = 0;
    trTrace(naMin, "two\nlines %s\n", "1\x1b");
    trTrace(naMin, "name %s\n", "a\nb\x1b[2J\x7f\xc2\x85\x9b");
    const std::string large(20000, 'x');
    trTrace(naMin, "%s|\n", large.c_str());
    EXPECT_TRUE(holds("t",
                      "\n\nBEGINNING NEW TRACE\n\nonce 1\nalways\nEnter: work\nExit: work\n"
                      "two\nlines 1 \nname a b [2J    \n" +
                          large + "|\n\nEND OF DATA\n\n"));
    closeTrace();
    trError("too late\n");
    EXPECT_TRUE(tree.read("t").ends_with("|\n\nEND OF DATA - close\n\n"));
}

TEST_F(traceTest, AFullFileGoesOnAtItsBeginning) {
    openTrace(1);
    lines(1, 1500);
    const std::string text = tree.read("t");
    EXPECT_LE(text.size(), 1048576U + 64);
    EXPECT_GE(text.size(), 1048576U - 1100);
    EXPECT_NE(std::string::npos, text.find("\nContinued at beginning of file\n\n"));
    const std::size_t next = nextWrite();
    EXPECT_EQ("1500 ", text.substr(next - 1000, 5));
    EXPECT_EQ("\nEND OF DATA\n\n", text.substr(next, 14));
    trTrace(naMin, "%s\n", std::string(3000000, 'y').c_str());  // longer than the file
    EXPECT_LE(tree.read("t").size(), 1048576U + 64);
}

// Headers that tell nonsense are among the seeds of the fuzzer of traces.
TEST_F(traceTest, AFileOfAnEarlierRunGoesOnWithinItsLimit) {
    openTrace(1);
    lines(1, 1);
    closeTrace();
    openTrace(2);
    lines(2, 2);
    EXPECT_TRUE(holds("t", "1 ") && holds("t", "\n2 "));
    EXPECT_EQ("2         ", tree.read("t").substr(24, 10));
    closeTrace();
    openTrace(1);  // the old limit was larger
    EXPECT_FALSE(holds("t", "\n2 "));
    closeTrace();

    tree.write("victim", "untouched");
    ASSERT_EQ(0, std::system(("ln -sf victim " + tree.path("t")).c_str()));
    openTrace(1);
    lines(1, 1);
    EXPECT_EQ("untouched", tree.read("victim"));
}

TEST_F(traceTest, SegmentsAreFilledInTurn) {
    trSetMax(3);
    trSetSegment(2);  // of 2 MB and the rest of 1 MB
    ASSERT_EQ(0, trOpen(tree.path("t"), false));
    lines(1, 2500);
    EXPECT_TRUE(holds("t.1", "\nContinued at beginning of segment 2\n\n"));
    EXPECT_TRUE(holds("t.2", "\n\nContinued from end of segment 1\n\n"));
    lines(2501, 3500);
    EXPECT_TRUE(holds("t.2", "\nContinued at beginning of segment 1\n\n"));
    EXPECT_TRUE(holds("t.1", "\n\nContinued from end of segment 2\n\n"));
    EXPECT_LE(tree.read("t.2").size(), 1048576U + 64);
    EXPECT_EQ("3500 ", tree.read("t.1").substr(nextWrite("t.1") - 1000, 5));
}

TEST_F(traceTest, ThreadsDoNotMixTheirLines) {
    openTrace(8);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] { lines(100000, 100500); });
    for (std::thread& thread : threads)
        thread.join();
    const std::string text = tree.read("t");
    std::size_t at = text.find("100000 ");
    for (int line = 0; line < 2004; ++line, at += 1000)
        ASSERT_EQ("10", text.substr(at, 2));
    EXPECT_EQ(at, nextWrite());
}

TEST_F(traceTest, LevelsAndNamesTurnClassesOn) {
    tree.mkdirp("directory");
    // Trace, level, code, and the flags of enter, exit, min, mid and max.
    const std::tuple<std::string, const char*, int, const char*> kTraces[] = {
        {tree.path("d/t"),              "MIN", 0,  "00100"},
        {tree.path("d/t"),              "MID", 0,  "00110"},
        {tree.path("d/t"),              "MAX", 0,  "11111"},
        {"",                            "",    0,  "00000"},
        {tree.path("d/t/below/a/file"), "MAX", 30, "00000"},
        {tree.path("directory"),        "MAX", 1,  "00000"},
    };
    for (const auto& [name, level, code, expected] : kTraces) {
        EXPECT_EQ(code, setupTrace(name, level, 512)) << name;
        std::string flags;
        for (const unsigned char flag : {naEnter, naExit, naMin, naMid, naMax})
            flags += flag != 0 ? '1' : '0';
        EXPECT_EQ(expected, flags) << name << level;
        closeTrace();
    }
    EXPECT_EQ("1         ", tree.read("d/t").substr(24, 10)) << "of 512 KB";
    EXPECT_EQ(0, trSetFlags("all -pid", true, kFoundationClasses, kFoundationAggregates));
    EXPECT_EQ("01", std::to_string(trPid) + std::to_string(trTid));
    EXPECT_EQ(-1, trSetFlags("TID nonsense", true, kFoundationClasses, kFoundationAggregates));
}
