#include <filesystem>
#include <fnmatch.h>
#include <set>
#include <sstream>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"
#include "support/PlainFilter.h"

using namespace std::string_literals;

namespace {

struct Statistic {
    int type;  // 0: of monitored directories
    std::string clause;
};

constexpr const char* kMonDirPaths[] = {"/d1", "/d?", "/d[!2]/e*", "/d1/e1", "/*/e2/g118"};

/// Ten and twenty days before the walk are -864000 and -1728000 seconds.
std::vector<Statistic> statistics(const std::string& mountPoint) {
    return {
        {1, "=F%/*.c\0"s                        },
        {1, "&=T\0\0\0\1<M+\xff\xf2\xd1\0"s     },
        {1, "(Udae*\0,54321\0)"s                },
        {2, "!=F"s + mountPoint + "/d1/%/\0"s   },
        {9, "&P\0\10\0\0"s                      },
        {1, "[M@\xff\xe5\xa2\0+\xff\xf2\xd1\0"s },
        {1, "|(T\0\0\0\2,\0\0\0\4)=Fd2/%/*.h\0"s},
        {0, ""                                  },
        {0, "=F*.c\0"s                          },
        {0, "&!=T\0\0\0\4=F%/e1/*.c\0"s         },
    };
}

/// Bytes as a definition holds them.
std::string cell(const std::string& clause) {
    std::string numbers;
    for (const char byte : clause)
        numbers += std::to_string(static_cast<signed char>(byte)) + ",";
    return clause.empty() ? "null" : '"' + numbers + '"';
}

struct Entry : PlainEntry {
    struct stat status {};

    Entry(const std::string& mountPoint, const std::string& below) {
        root = mountPoint + "/";
        path = below;
        lstat((root + path).c_str(), &status);
        const mode_t format = status.st_mode & S_IFMT;
        type = format == S_IFDIR ? 3 : format == S_IFLNK ? 2 : format == S_IFREG ? 1 : 4;
        attributes = type == 1 && (status.st_mode & 0111U) != 0 ? 0x80000 : 0;
        modified = status.st_mtime;
        owner = status.st_uid == 1 ? "daemon" : std::to_string(status.st_uid);
    }

    /// The last of the MonDirSpecs that a directory matches, "" if it matches none.
    [[nodiscard]] std::string lastMatch() const {
        std::string last;
        for (std::size_t i = 0; i < std::size(kMonDirPaths); ++i) {
            if (type == 3 && fnmatch(kMonDirPaths[i], ("/" + path).c_str(), FNM_PATHNAME) == 0)
                last = std::to_string(i);
        }
        return last;
    }
};

/// A file system of some thousand entries of several types, owners and ages.
class FilterTest : public testing::Test {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        tree.mkdirp("m");
        mount = std::make_unique<TestMount>(TestMount::tmpfs(mountPoint));
        for (int i = 0; i < 120; ++i)
            fill("m/d" + std::to_string(i % 5) + "/e" + std::to_string(i % 4) + "/g" +
                 std::to_string(i));
        for (const char* const directory : {"m/d1", "m/d1/e1", "m/d2", "m/x"})
            fill(directory);
    }

    void fill(const std::string& directory) const {
        static constexpr const char* kEndings[] = {".c", ".h", ".txt", ""};
        tree.mkdirp(directory);
        for (int i = 0; i < 22; ++i) {
            const std::string name = directory + "/f" + std::to_string(i) + kEndings[i % 4];
            tree.touch(name, directory.size() * static_cast<std::size_t>(i) * 40);
            tree.chmod(name, i % 3 == 0 ? 0755 : 0644);
            tree.chown(name, i % 5 == 4 ? 54321 : static_cast<unsigned>(i % 5), 0);
            const std::int64_t time = std::time(nullptr) - i * 172800 - 1000;
            tree.times(name, time, time);
        }
        for (const char* const link : {"/second.c", "/third.c"})
            tree.link(directory + "/f4.c", directory + link);
        tree.symlink("nowhere", directory + "/link.c");
        tree.mkfifo(directory + "/pipe.c");
    }

    [[nodiscard]] std::string definition() const {
        std::ostringstream text;
        for (std::size_t i = 0; i < std::size(kMonDirPaths); ++i)
            text << "[MonDirSpec]\n"
                 << i << ",\"" << mountPoint << kMonDirPaths[i] << "\"\n[/MonDirSpec]\n";
        int id = 0;
        for (const Statistic& statistic : statistics(mountPoint))
            text << "[CuStatDef]\n"
                 << id++ << ",\"usr\",\"x\"," << statistic.type << ",\"Y\","
                 << cell(statistic.clause) << "\n[/CuStatDef]\n";
        return requestFor(
            {
                {1, mountPoint}
        },
            text.str());
    }

    /// What a statistic counts below a directory: "files directories blocks".
    [[nodiscard]] std::string counted(const Statistic& statistic,
                                      const Entry& directory) const {
        long files = 0;
        long directories = 0;
        long blocks = 0;
        std::set<ino_t> met;
        const auto depth = std::count(directory.path.begin(), directory.path.end(), '/') + 1;
        const auto level = static_cast<std::int32_t>(statistic.type == 0 ? depth : 0);
        for (const Entry& entry : entries) {
            if ((statistic.type == 0 && !entry.path.starts_with(directory.path + "/")) ||
                !selectsPlainly(statistic.clause, level, scanTime, entry).value() ||
                (entry.type == 1 && entry.status.st_nlink > 1 &&
                 met.insert(entry.status.st_ino).second))
                continue;
            files += entry.type < 3 ? 1 : 0;
            directories += entry.type == 3 ? 1 : 0;
            blocks += entry.type < 4 ? entry.status.st_blocks : 0;
        }
        std::ostringstream text;
        text << files << " " << directories << " " << blocks;
        return text.str();
    }

    /// "statistic: counts" of each result, of a monitored directory with its path and the
    /// first of the MonDirSpecs that it shows.
    [[nodiscard]] std::multiset<std::string> expectedRows() const {
        std::multiset<std::string> rows;
        rows.insert("100: " + counted({1, ""}, entries.front()));
        int id = 0;
        for (const Statistic& statistic : statistics(mountPoint)) {
            const std::string start = std::to_string(id++) + ": ";
            if (statistic.type != 0)
                rows.insert(start + counted(statistic, entries.front()));
            for (const Entry& entry : entries) {
                if (statistic.type == 0 && !entry.lastMatch().empty())
                    rows.insert(start + counted(statistic, entry) + " " + entry.root +
                                entry.path + " " + entry.lastMatch());
            }
        }
        return rows;
    }

    /// The same from the result of the job.
    static std::multiset<std::string> writtenRows(const ScanRun& run) {
        std::multiset<std::string> rows;
        const std::vector<ScanRun::Record> directories = run.records("SMonDir");
        const std::vector<ScanRun::Record> monDirSpecs = run.records("MonDirSpec");
        std::size_t next = 0;
        for (ScanRun::Record& summary : run.records("SSummary")) {
            const std::string id = summary["sumStatisticID"];
            std::string row = id + ": " + summary["sumFileCount"] + " " +
                              summary["sumDirectoryCount"] + " " + summary["sumTotalSize"];
            if (id >= "7") {
                row += " " + directories.at(next).at("faName") + " " +
                       monDirSpecs.at(std::size(kMonDirPaths) + next).at("mdsID");
                ++next;
            }
            rows.insert(row);
        }
        return rows;
    }

    const TempTree tree;
    const std::string mountPoint = tree.path("m");
    std::unique_ptr<TestMount> mount;
    std::vector<Entry> entries;
    std::int32_t scanTime = 0;
};

}  // namespace

TEST_F(FilterTest, EveryStatisticCountsWhatItsClauseSaysInEachDirectory) {
    ScanRun run;
    run.define(definition());
    run.start();
    EXPECT_EQ(0, run.exitCode);
    scanTime =
        static_cast<std::int32_t>(std::stoll(run.value("Filesystem", "fsScanTime")) / 1000);
    entries.emplace_back(mountPoint, "");
    for (const auto& found : std::filesystem::recursive_directory_iterator(mountPoint))
        entries.emplace_back(mountPoint, found.path().string().substr(mountPoint.size() + 1));
    EXPECT_LT(2500U, entries.size());
    EXPECT_EQ(expectedRows(), writtenRows(run));
    EXPECT_LT(40U, expectedRows().size());
}
