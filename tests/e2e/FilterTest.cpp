#include <filesystem>
#include <fnmatch.h>
#include <pwd.h>
#include <set>
#include <sstream>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"
#include "support/PlainFilter.h"

namespace {

constexpr std::int64_t kDay = 86400;

std::string be(std::int64_t number) {
    std::string bytes;
    for (const int shift : {24, 16, 8, 0})
        bytes += static_cast<char>(static_cast<unsigned char>(number >> shift));
    return bytes;
}

std::string z(const std::string& text) {
    return text + '\0';
}

/// Bytes as a definition holds them.
std::string cell(const std::string& clause) {
    std::string numbers;
    for (const char byte : clause)
        numbers +=
            (numbers.empty() ? "" : ",") + std::to_string(static_cast<signed char>(byte));
    return clause.empty() ? "null" : '"' + numbers + '"';
}

struct Statistic {
    int type;  // 0: of monitored directories
    std::string clause;
};

/// What the job says of an entry, and how its summaries count it.
struct Entry : PlainEntry {
    struct stat status {};

    Entry(const std::string& mount, const std::string& below) {
        root = mount + "/";
        path = below;
        lstat((root + path).c_str(), &status);
        type = S_ISDIR(status.st_mode)   ? 3
               : S_ISLNK(status.st_mode) ? 2
               : S_ISREG(status.st_mode) ? 1
                                         : 4;
        attributes = type == 1 && (status.st_mode & 0111U) != 0 ? 0x80000 : 0;
        modified = status.st_mtime;
        const struct passwd* const user = getpwuid(status.st_uid);
        owner = user ? user->pw_name : std::to_string(status.st_uid);
    }
    [[nodiscard]] long depth() const {
        return path.empty() ? 0 : 1 + std::count(path.begin(), path.end(), '/');
    }
};

/// A file system of some thousand entries of several types, owners and ages.
class FilterTest : public testing::Test {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        tree.mkdirp("m");
        mount = std::make_unique<TestMount>(TestMount::tmpfs(mountPoint()));
        for (int i = 0; i < 120; ++i)
            fill("m/d" + std::to_string(i % 5) + "/e" + std::to_string(i % 4) + "/g" +
                     std::to_string(i),
                 i);
        for (const char* const directory : {"m/d1", "m/d1/e1", "m/d2", "m/x"})
            fill(directory, 7);
    }

    void fill(const std::string& directory, int number) const {
        static constexpr const char* kEndings[] = {".c", ".h", ".txt", ""};
        tree.mkdirp(directory);
        for (int j = 0; j < 22; ++j) {
            const std::string name =
                directory + "/f" + std::to_string(j) + kEndings[(number + j) % 4];
            tree.touch(name, static_cast<std::size_t>(j * 700));
            tree.chmod(name, j % 3 == 0 ? 0755 : 0644);
            tree.chown(name, j % 5 == 4 ? 54321 : static_cast<unsigned>(j % 5), 0);
            const std::int64_t time = std::time(nullptr) - (number + j) % 50 * kDay - 1000;
            tree.times(name, time, time);
        }
        for (const char* const link : {"/second.c", "/third.c"})
            tree.link(directory + "/f2" + kEndings[(number + 2) % 4], directory + link);
        tree.symlink("nowhere", directory + "/link.c");
        tree.mkfifo(directory + "/pipe.c");
    }

    [[nodiscard]] std::string mountPoint() const { return tree.path("m"); }

    [[nodiscard]] std::vector<Statistic> statistics() const {
        return {
            {1, "=F" + z("%/*.c")                                  },
            {1, "&=T" + be(1) + "<M+" + be(-10 * kDay)             },
            {1, "(U" + z("dae*") + "," + z("54321") + ")"          },
            {2, "!=F" + z(mountPoint() + "/d1/%/")                 },
            {9, "&P" + be(0x80000)                                 },
            {1, "[M@" + be(-20 * kDay) + "+" + be(-5 * kDay)       },
            {1, "|(T" + be(2) + "," + be(4) + ")=F" + z("d2/%/*.h")},
            {0, ""                                                 },
            {0, "=F" + z("*.c")                                    },
            {0, "&!=T" + be(4) + "=F" + z("%/e1/*.c")              },
        };
    }

    static constexpr const char* kSpecifications[] = {"/d1", "/d?", "/d[!2]/e*", "/d1/e1",
                                                      "/*/e2/g118"};

    /// The specifications that a directory matches, the last one first.
    static std::string matching(const Entry& entry) {
        std::string ids;
        for (std::size_t i = std::size(kSpecifications); entry.type == 3 && i > 0; --i) {
            if (fnmatch(kSpecifications[i - 1], ("/" + entry.path).c_str(), FNM_PATHNAME) == 0)
                ids += std::to_string(i - 1);
        }
        return ids;
    }

    void define(const ScanRun& run) const {
        std::string more;
        for (std::size_t i = 0; i < std::size(kSpecifications); ++i)
            more += "[MonDirSpec]\n" + std::to_string(i) + ",\"" + mountPoint() +
                    kSpecifications[i] + "\"\n[/MonDirSpec]\n";
        const std::vector<Statistic> all = statistics();
        for (std::size_t i = 0; i < all.size(); ++i)
            more += "[CuStatDef]\n" + std::to_string(i) + ",\"usr\",\"x\"," +
                    std::to_string(all[i].type) + ",\"Y\"," + cell(all[i].clause) +
                    "\n[/CuStatDef]\n";
        run.define(requestFor(
            {
                {1, mountPoint()}
        },
            more));
    }

    /// "files directories blocks" of what a statistic counts below a directory.
    static std::string counted(const Statistic& statistic, const Entry& directory,
                               const std::vector<Entry>& all, std::int32_t scanTime) {
        long files = 0;
        long directories = 0;
        long blocks = 0;
        std::set<ino_t> met;
        for (const Entry& entry : all) {
            const bool below =
                statistic.type != 0 || entry.path.starts_with(directory.path + "/");
            const auto level = static_cast<std::int32_t>(directory.depth());
            if (!below || !selectsPlainly(statistic.clause, level, scanTime, entry).value())
                continue;
            if (entry.type != 3 && entry.status.st_nlink > 1 &&
                met.insert(entry.status.st_ino).second)
                continue;
            files += entry.type < 3 ? 1 : 0;
            directories += entry.type == 3 ? 1 : 0;
            blocks += entry.type <= 3 ? entry.status.st_blocks : 0;
        }
        return std::to_string(files) + " " + std::to_string(directories) + " " +
               std::to_string(blocks);
    }

    /// "statistic: counts" of each result, of a monitored directory with its path and the
    /// specifications that it matches.
    [[nodiscard]] std::multiset<std::string> expectedRows(std::int32_t scanTime) const {
        std::vector<Entry> all = {Entry(mountPoint(), "")};
        for (const auto& found : std::filesystem::recursive_directory_iterator(mountPoint()))
            all.emplace_back(mountPoint(),
                             found.path().string().substr(mountPoint().size() + 1));
        EXPECT_LT(2500U, all.size());
        std::multiset<std::string> rows;
        const std::vector<Statistic> wanted = statistics();
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            for (const Entry& directory : all) {
                const std::string ids = matching(directory);
                if (wanted[i].type == 0 ? ids.empty() : !directory.path.empty())
                    continue;
                rows.insert(std::to_string(i) + ": " +
                            counted(wanted[i], directory, all, scanTime) +
                            (wanted[i].type == 0 ? " " + directory.path + " " + ids : ""));
            }
        }
        return rows;
    }

    /// The same from the result of the job.
    [[nodiscard]] std::multiset<std::string> writtenRows(const ScanRun& run) const {
        std::multiset<std::string> rows;
        std::string row;
        std::istringstream lines(run.result().substr(run.result().find("[/Header]")));
        std::vector<std::string> cells;
        const auto next = [&] {
            std::string line;
            std::getline(lines, line);
            std::istringstream parts(line);
            for (cells.clear();
                 std::getline(parts, line, '"') && std::getline(parts, line, '"');)
                cells.push_back(line);
            return !cells.empty();
        };
        for (std::string line; std::getline(lines, line);) {
            if (line == "[SSummary]" && next()) {
                row = cells[1] + ": " + cells[6] + " " + cells[10] + " " + cells[5];
            } else if (line == "[SMonDir]" && next()) {
                row += " " + cells[1].substr(mountPoint().size() + 1) + " ";
                for (std::getline(lines, line); next();)
                    row += cells[0];
            } else if (line == "[/ResultsByFS]" && !row.starts_with("100:")) {
                rows.insert(row);
            }
        }
        return rows;
    }

    const TempTree tree;
    std::unique_ptr<TestMount> mount;
};

}  // namespace

TEST_F(FilterTest, EveryStatisticCountsWhatItsClauseSaysInEachDirectory) {
    ScanRun run;
    define(run);
    run.start();
    EXPECT_EQ(0, run.exitCode);
    const auto rows = expectedRows(
        static_cast<std::int32_t>(std::stoll(run.value("Filesystem", "fsScanTime")) / 1000));
    EXPECT_EQ(rows, writtenRows(run));
    EXPECT_LT(40U, rows.size());
}
