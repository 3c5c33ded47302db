#include <algorithm>
#include <filesystem>
#include <functional>
#include <pwd.h>
#include <set>
#include <sstream>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"

namespace {

namespace fs = std::filesystem;

/// An entry below the mount point, which has no components itself.
struct Entry {
    std::vector<std::string> components;
    struct stat status {};
    std::int64_t age = 0;  // seconds before the scan
    std::string owner;

    [[nodiscard]] bool named(const char* pattern) const {
        return !components.empty() && components.back().ends_with(pattern);
    }
    [[nodiscard]] bool below(const std::vector<std::string>& directory) const {
        return components.size() > directory.size() &&
               std::equal(directory.begin(), directory.end(), components.begin());
    }
    [[nodiscard]] std::size_t depth() const { return components.size(); }
};

/// A statistic: its clause, and what the clause says in plain words. `depth` is that of
/// the monitored directory, 0 for a file system.
struct Statistic {
    int id;
    int type;
    std::string clause;
    std::function<bool(const Entry& entry, std::size_t depth)> selects;
};

/// What a summary counts.
struct Counts {
    long files = 0;
    long directories = 0;
    long blocks = 0;
    std::map<ino_t, int> links;

    void add(const struct stat& status) {
        if (!S_ISDIR(status.st_mode) && status.st_nlink > 1 && links[status.st_ino]++ == 0)
            return;
        files += S_ISREG(status.st_mode) || S_ISLNK(status.st_mode) ? 1 : 0;
        directories += S_ISDIR(status.st_mode) ? 1 : 0;
        blocks += S_ISFIFO(status.st_mode) ? 0 : status.st_blocks;
    }
    [[nodiscard]] std::string text() const {
        return std::to_string(files) + " " + std::to_string(directories) + " " +
               std::to_string(blocks);
    }
};

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

constexpr std::int64_t kDay = 86400;

/// A file system of some thousand entries of several types, owners and ages.
class FilterTest : public testing::Test {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        tree.mkdirp("m");
        mount = std::make_unique<TestMount>(TestMount::tmpfs(mountPoint()));
        for (int i = 0; i < 120; ++i)
            fillDirectory("m/d" + std::to_string(i % 5) + "/e" + std::to_string(i % 4) + "/g" +
                              std::to_string(i),
                          i);
        for (const char* const directory : {"m/d1", "m/d1/e1", "m/d2", "m/x"})
            fillDirectory(directory, 7);
    }

    void fillDirectory(const std::string& directory, int number) const {
        tree.mkdirp(directory);
        for (int j = 0; j < 22; ++j) {
            static constexpr const char* kEndings[] = {".c", ".h", ".txt", ""};
            const std::string name =
                directory + "/f" + std::to_string(j) + kEndings[(number + j) % 4];
            tree.touch(name, static_cast<std::size_t>(j * 700));
            tree.chmod(name, j % 3 == 0 ? 0755 : 0644);
            tree.chown(name, j % 5 == 4 ? 54321 : static_cast<unsigned>(j % 5), 0);
            const std::int64_t time = now - (number + j) % 50 * kDay - 1000;
            tree.times(name, time, time);
        }
        tree.touch(directory + "/first.c", 9000);
        tree.link(directory + "/first.c", directory + "/second.c");
        tree.link(directory + "/first.c", directory + "/third.c");
        tree.symlink("nowhere", directory + "/link.c");
        tree.mkfifo(directory + "/pipe.c");
    }

    [[nodiscard]] std::string mountPoint() const { return tree.path("m"); }

    [[nodiscard]] std::vector<Entry> entries(std::int64_t scanTime) const {
        std::vector<Entry> all;
        const auto add = [&](const fs::path& path) {
            Entry& entry = all.emplace_back();
            for (const fs::path& part : path.lexically_relative(mountPoint())) {
                if (part != ".")
                    entry.components.push_back(part);
            }
            lstat(path.c_str(), &entry.status);
            entry.age = scanTime - entry.status.st_mtime;
            const struct passwd* const owner = getpwuid(entry.status.st_uid);
            entry.owner = owner ? owner->pw_name : std::to_string(entry.status.st_uid);
        };
        add(mountPoint());
        for (const auto& entry : fs::recursive_directory_iterator(mountPoint()))
            add(entry.path());
        return all;
    }

    /// Ten statistics, the last three of monitored directories.
    [[nodiscard]] std::vector<Statistic> statistics() const {
        const auto isType = [](const Entry& entry, mode_t type) {
            return (entry.status.st_mode & S_IFMT) == type;
        };
        const std::string below = mountPoint() + "/d1/%/";
        return {
            {1,  1, "=F" + z("%/*.c"),
             [](const Entry& entry,                                                       std::size_t) { return entry.named(".c"); }},
            {2,  1, "&=T" + be(1) + "<M+" + be(-10 * kDay),
             [=](const Entry& entry,                                                      std::size_t) {
                 return isType(entry, S_IFREG) && entry.age > 10 * kDay;
             }                                                                                  },
            {3,  1, "(U" + z("dae*") + "," + z("54321") + ")",
             [](const Entry& entry,                                                       std::size_t) {
                 return entry.owner.starts_with("dae") || entry.owner == "54321";
             }                                                                                   },
            {4,  2, "!=F" + z(below),
             [](const Entry& entry,                                                       std::size_t) {
                 return entry.depth() < 1 || entry.components[0] != "d1";
             }                                                                                   },
            {5,  9, "&P" + be(0x80000),
             [=](const Entry& entry,                                                      std::size_t) {
                 return isType(entry, S_IFREG) && (entry.status.st_mode & 0111U) != 0;
             }                                                                                  },
            {6,  1, "[M@" + be(-20 * kDay) + "+" + be(-5 * kDay),
             [](const Entry& entry,                                                       std::size_t) {
                 return entry.age <= 20 * kDay && entry.age > 5 * kDay;
             }                                                                                   },
            {7,  1, "|(T" + be(2) + "," + be(4) + ")=F" + z("d2/%/*.h"),
             [=](const Entry& entry,                                                      std::size_t) {
                 return isType(entry, S_IFLNK) || isType(entry, S_IFIFO) ||
                        (entry.named(".h") && entry.components[0] == "d2");
             }                                                                                  },
            {8,  0, "",                                                  [](const Entry&, std::size_t) { return true; }             },
            {9,  0, "=F" + z("*.c"),
             [](const Entry& entry,                                                       std::size_t depth) {
                 return entry.named(".c") && entry.depth() == depth + 1;
             }                                                                                   },
            {10, 0, "&!=T" + be(4) + "=F" + z("%/e1/*.c"),
             [=](const Entry& entry,                                                      std::size_t depth) {
                 return !isType(entry, S_IFIFO) && entry.named(".c") &&
                        entry.depth() >= depth + 2 &&
                        entry.components[entry.depth() - 2] == "e1";
             }                                                                                  },
        };
    }

    /// What the job must write: "statistic: counts" for a file system, and behind it
    /// " directory specifications" for a monitored directory.
    [[nodiscard]] std::multiset<std::string> expectedRows(std::int64_t scanTime) const {
        std::multiset<std::string> rows;
        const std::vector<Entry> all = entries(scanTime);
        for (const Statistic& statistic : statistics()) {
            const std::string start = std::to_string(statistic.id) + ": ";
            for (const Entry& root : all) {
                const std::string specifications = matching(root);
                const bool monitors = statistic.type == 0;
                if (monitors ? specifications.empty() : root.depth() > 0)
                    continue;
                Counts counts;
                for (const Entry& entry : all) {
                    if ((!monitors || entry.below(root.components)) &&
                        statistic.selects(entry, root.depth()))
                        counts.add(entry.status);
                }
                rows.insert(start + counts.text() +
                            (monitors ? " " + pathOf(root) + " " + specifications : ""));
            }
        }
        return rows;
    }

    /// The identifiers of the specifications that a directory matches, the last one first.
    [[nodiscard]] static std::string matching(const Entry& entry) {
        const auto& parts = entry.components;
        if (!S_ISDIR(entry.status.st_mode) || parts.empty() || parts[0] == "x")
            return {};
        switch (parts.size()) {
            case 1:
                return parts[0] == "d1" ? "21" : "2";
            case 2:
                return std::string(parts[0] == "d1" && parts[1] == "e1" ? "4" : "") +
                       (parts[0] != "d2" ? "3" : "");
            default:
                return parts.back() == "g118" ? "5" : "";
        }
    }

    [[nodiscard]] std::string pathOf(const Entry& entry) const {
        std::string path = mountPoint();
        for (const std::string& component : entry.components)
            path += "/" + component;
        return path;
    }

    [[nodiscard]] std::string definition() const {
        std::string more;
        const std::pair<const char*, const char*> kSpecifications[] = {
            {"1", "/d1/"      },
            {"2", "/d?"       },
            {"3", "/d[!2]/e*" },
            {"4", "/d1/e1"    },
            {"5", "/*/e2/g118"},
        };
        for (const auto& [id, path] : kSpecifications)
            more += std::string("[MonDirSpec]\n") + id + ",\"" + mountPoint() + path +
                    "\"\n[/MonDirSpec]\n";
        for (const Statistic& statistic : statistics())
            more += "[CuStatDef]\n" + std::to_string(statistic.id) + ",\"usr\",\"x\"," +
                    std::to_string(statistic.type) + ",\"Y\"," + cell(statistic.clause) +
                    "\n[/CuStatDef]\n";
        return requestFor(
            {
                {1, mountPoint()}
        },
            more);
    }

    /// The rows that the job wrote, in the same form.
    static std::multiset<std::string> writtenRows(const ScanRun& run) {
        std::multiset<std::string> rows;
        std::istringstream lines(run.result().substr(run.result().find("[/Header]")));
        const auto next = [&lines] {
            std::string line;
            std::getline(lines, line);
            std::vector<std::string> cells;
            for (std::size_t start = 1; start < line.size();
                 start = line.find("\",\"", start) + 3) {
                cells.push_back(line.substr(start, line.find('"', start) - start));
                if (line.find("\",\"", start) == std::string::npos)
                    break;
            }
            return cells;
        };
        std::string row;
        for (std::string line; std::getline(lines, line);) {
            if (line == "[SSummary]") {
                const auto cells = next();
                row = cells[1] + ": " + cells[6] + " " + cells[10] + " " + cells[5];
            } else if (line == "[SMonDir]") {
                row += " " + next()[1] + " ";
                for (std::getline(lines, line); (line = next()[0]) != "/MonDirSpec]";)
                    row += line;
            } else if (line == "[/ResultsByFS]" && !row.starts_with("100:")) {
                rows.insert(row);
            }
        }
        return rows;
    }

    const std::int64_t now = std::time(nullptr);
    const TempTree tree;
    std::unique_ptr<TestMount> mount;
};

}  // namespace

TEST_F(FilterTest, EveryStatisticCountsWhatItsClauseSaysInEachDirectory) {
    ScanRun run;
    run.define(definition());
    run.start();
    EXPECT_EQ(0, run.exitCode);
    const std::int64_t scanTime = std::stoll(run.value("Filesystem", "fsScanTime")) / 1000;
    const auto expected = expectedRows(scanTime);
    EXPECT_EQ(expected, writtenRows(run));
    EXPECT_LT(40U, expected.size());
    EXPECT_LT(2500U, entries(scanTime).size());
}
