#include <filesystem>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "Common/LogUtil.h"
#include "Common/unix/psnautil.h"
#include "support/TempTree.h"

TEST(LogUtilTest, TheNewestInstanceGoesOnWhileItHasRoom) {
    const TempTree tree;
    for (const char* other : {"scan_00099x.log", "scan_00099.log", "scan_000099.trace",
                              "scan_000099.log.gz", "xscan_000099.log", "scan.log"})
        tree.touch(other);
    const auto next = [&](bool reuse) {
        LogUtil names;
        names.setMaxSize(2);
        return names.getNextLogName(tree.root(), "scan", ".log", reuse);
    };
    EXPECT_EQ("scan_000001.log", next(true));
    tree.touch("scan.000010-old.log", 1024);
    EXPECT_EQ("scan_000010.log", next(true));
    EXPECT_EQ("scan_000011.log", next(false));
    tree.touch("scan.000010-old.log", 1025);
    EXPECT_EQ("scan_000011.log", next(true));
    std::filesystem::resize_file(tree.path("scan.000010-old.log"), (1ULL << 32U) + 5);
    EXPECT_EQ("scan_000010.log", next(true)) << "sizes are compared in 32 bits";
}

/// A directory of logs, of which some are removed.
class LogUtilPurgeTest : public testing::Test {
protected:
    /// The names that are left, in their order.
    [[nodiscard]] std::string left() const {
        std::set<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(tree.root()))
            found.insert(entry.path().filename().string());
        std::string text;
        for (const std::string& name : found)
            text += (text.empty() ? "" : " ") + name;
        return text;
    }

    const TempTree tree;
    LogUtil names;
};

TEST_F(LogUtilPurgeTest, TheLowestInstancesAndTheOldestFilesGo) {
    const std::int64_t now = currentSeconds();
    for (const int number : {1, 2, 3, 4, 5})
        tree.touch("scan_00000" + std::to_string(number) + ".log");
    tree.times("scan_000004.log", now, now - 2 * 86400 - 60);
    tree.times("scan_000005.log", now, now - 2 * 86400 + 60);
    const LogUtil::Files files = LogUtil::getMatchingFilesMap(tree.root(), "scan", ".log");
    const auto purge = [&](LogUtil::Mode kept) {
        names.purgeLogFiles(files, kept);
        return left();
    };
    names.setMaxNumLogs(5);
    names.setMaxNumDays(0);  // no limit
    EXPECT_EQ(5 * 16 - 1, purge(LogUtil::KEEP_LOGS).size());
    names.setMaxNumLogs(3);
    names.setNewFile(true);
    EXPECT_EQ("scan_000004.log scan_000005.log", purge(LogUtil::KEEP_LOGS));
    names.setMaxNumDays(2);
    EXPECT_EQ("scan_000005.log", purge(LogUtil::KEEP_LOGS));
    names.setMaxNumRuns(-7);  // more than there are
    EXPECT_EQ("", purge(LogUtil::KEEP_RUNS));
}

TEST_F(LogUtilPurgeTest, RunsOfAJobAreToldByTheirScheduleRun) {
    for (const char* name : {"job.0001_scan.00000001.log", "job.0001_scan.00000001.trace",
                             "job.12345_scan.1.log", "job.0002_probe.00000001.log",
                             "job.x002_scan.1.log", "job.1", "other.0001_scan.1.log"})
        tree.touch(name);
    std::string keys;
    for (const auto& [key, path] : LogUtil::getRunFilesMap(tree.root(), "job", "scan"))
        keys += std::to_string(key) + " ";
    EXPECT_EQ("1 1234 ", keys);  // the first four digits count
    EXPECT_TRUE(LogUtil::getRunFilesMap(tree.path("missing"), "job", "scan").empty());
}
