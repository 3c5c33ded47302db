/// All statistics of one scan against a reckoning of its own, in the plainest way: the
/// entries in the order in which the system gives them, then one loop for each question.

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <grp.h>
#include <map>
#include <pwd.h>
#include <set>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"
#include "support/TempTree.h"

namespace {

using Number = std::int64_t;
using Numbers = std::vector<Number>;

const Numbers kSizeBounds = {2, 20, 200, 2048, 20480, 204800, 1024000};
const Numbers kAgeBounds = {86400,   604800,   2592000,  5184000,
                            7776000, 15552000, 23328000, 31557600};

std::size_t rangeOf(Number value, const Numbers& bounds) {
    std::size_t range = 0;
    while (range < bounds.size() && bounds[range] < value)
        ++range;
    return range;
}

std::string cell(Number number) {
    return std::to_string(number);
}
std::string cell(const Numbers& numbers) {
    std::string text;
    for (const Number number : numbers)
        text += (text.empty() ? "" : ",") + cell(number);
    return text;
}
std::string cell(const std::string& value) {
    std::string text;
    for (const char c : value)
        text += c == '\n' ? " " : c == '"' ? "\"\"" : std::string(1, c);
    return text;
}

template <class... Values>
std::string row(const Values&... values) {
    std::string line;
    for (const std::string& each : {cell(values)...})
        line += each.empty() ? "," : "\"" + each + "\",";
    line.back() = '\n';
    return line;
}

std::string entity(const std::string& name, const std::string& content) {
    return "[" + name + "]\n" + content + "[/" + name + "]\n";
}

/// An owner or a group, by what the system says of the number.
std::string identity(const std::string& name, Number number, bool isGroup) {
    const passwd* const user = isGroup ? nullptr : getpwuid(static_cast<uid_t>(number));
    const group* const known = isGroup ? getgrgid(static_cast<gid_t>(number)) : nullptr;
    std::string text = cell(number & 0xFFFFFFFF);  // of one that the system does not know
    if (user || known)
        text = user ? user->pw_name : known->gr_name;
    const Number type = isGroup ? 2 : 1;
    return entity(name, row(isGroup ? 0 : number, isGroup ? number : 0, text,
                            user ? user->pw_gecos : "", -1, user || known ? 0 : 1, -1,
                            Numbers(text.begin(), text.end()), type, type));
}

struct Entry {
    Entry(const std::string& name, const std::string& directory)
        : path(name), parent(directory) {
        struct stat status {};
        EXPECT_EQ(0, lstat(name.c_str(), &status)) << name;
        const mode_t format = status.st_mode & S_IFMT;
        type = format == S_IFREG ? 1 : format == S_IFLNK ? 2 : format == S_IFDIR ? 3 : 4;
        modified = status.st_mtime * 1000;
        accessed = std::max<Number>(status.st_atime * 1000, modified);
        blocks = type > 3 ? 0 : status.st_blocks;
        length = status.st_size;
        orphan = !getpwuid(status.st_uid);
        links = type == 3 ? 1 : static_cast<Number>(status.st_nlink);
        inode = static_cast<Number>(status.st_ino);
        user = static_cast<std::int32_t>(status.st_uid);
        group = static_cast<std::int32_t>(status.st_gid);
    }

    /// The entity of the entry, with more columns behind its own.
    [[nodiscard]] std::string print(const std::string& name, const std::string& more) const {
        std::string columns = row(type, path, 0, modified, accessed, blocks, length,
                                  orphan ? 0x20000 : 0, links, inode);
        columns.back() = ',';
        return entity(name, columns + more + identity("UserOrGroupUser", user, false) +
                                identity("UserOrGroupGroup", group, true));
    }

    std::string path, parent;
    Number type, accessed, modified, blocks, length, links, inode, user, group;
    bool orphan;
};
using Entries = std::vector<Entry>;

/// Adds what lies below a directory in the order of reading and, to `left`, the directories
/// in the order in which a walk leaves them.
void readTree(const Entry& directory, Entries& all, Entries& left) {
    const std::string prefix = directory.path + (directory.path.ends_with('/') ? "" : "/");
    for (const auto& found : std::filesystem::directory_iterator(directory.path)) {
        all.emplace_back(prefix + found.path().filename().string(), directory.path);
        if (all.back().type == 3)
            readTree(Entry(all.back()), all, left);
    }
    left.push_back(directory);
}

Entries filtered(const Entries& entries, const std::function<bool(const Entry&)>& passes) {
    Entries found;
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(found), passes);
    return found;
}

constexpr auto isFile = [](const Entry& each) { return each.type <= 2; };
constexpr auto isDirectory = [](const Entry& each) { return each.type == 3; };
constexpr auto isOrphan = [](const Entry& each) { return each.orphan; };

/// The members of highest key, the highest first; of equal ones the newest. An equal
/// newcomer finds no place in a full list, and the oldest of equal ones goes first.
template <class T, class Key>
std::vector<T> ranked(const std::vector<T>& offered, Number length, Key key) {
    const auto less = [&](const T& a, const T& b) { return key(a) < key(b); };
    std::vector<T> kept;
    for (const T& each : offered) {
        const auto smallest = std::min_element(kept.begin(), kept.end(), less);
        const bool full = static_cast<Number>(kept.size()) == length;
        if (full && key(each) <= key(*smallest))
            continue;
        if (full)
            kept.erase(smallest);
        kept.push_back(each);
    }
    std::stable_sort(kept.begin(), kept.end(), less);
    std::reverse(kept.begin(), kept.end());
    return kept;
}

/// The sum of a field, or how many pass a test.
template <class Value>
Number sum(const Entries& entries, Value value) {
    Number result = 0;
    for (const Entry& each : entries)
        result += std::invoke(value, each);
    return result;
}
Number total(const Entries& entries) {
    return sum(entries, &Entry::blocks);
}

/// Blocks, or entries, by size range.
Numbers sizesOf(const Entries& entries, bool count) {
    Numbers sums(8);
    for (const Entry& each : entries)
        sums[rangeOf(each.blocks, kSizeBounds)] += count ? 1 : each.blocks;
    return sums;
}

/// What a statistic must give that asks for everything, with lists of a length.
struct Reckoning {
    const Entries all, left, counted;
    const ScanRun::Record filesystem;
    const Number scanTime;  // milliseconds
    Number id = 0, length = 0, built = 0;

    [[nodiscard]] std::string results() const {
        const std::string summary = entity(
            "SSummary", row(1, id, filesystem.at("fsCapacity"), filesystem.at("fsFreeSpace"),
                            filesystem.at("fsUsedSpace"), total(counted), sum(counted, isFile),
                            built, 0, 0, sum(counted, isDirectory)));
        if (length == 0)
            return entity("CuStatResults", row(id) + summary);
        const Entries files = filtered(counted, isFile);
        const Entries orphans = filtered(files, isOrphan);
        const auto blocks = [](const Entry& each) { return each.blocks; };
        const auto accessed = [](const Entry& each) { return -each.accessed; };
        return entity("CuStatResults",
                      row(id) + directories() + ranking(0, files, blocks) +
                          ranking(1, files, accessed) + ranking(3, orphans, blocks) +
                          ranking(4, orphans, accessed) + types() + summary +
                          entity("SSizeDist",
                                 row(1, id, sizesOf(counted, false), sizesOf(counted, true))) +
                          owners(&Entry::user, false) + owners(&Entry::group, true) +
                          ages(0, &Entry::accessed) + ages(3, &Entry::modified));
    }

    [[nodiscard]] std::string ranking(Number type, const Entries& offered,
                                      Number (*key)(const Entry&)) const {
        std::string text;
        for (const Entry& each : ranked(offered, length, key))
            text += each.print("SFile", row(1, id, type));
        return text;
    }

    [[nodiscard]] std::string directories() const {
        std::map<std::string, Entries> inside;
        for (const Entry& each : all)
            inside[each.parent].push_back(each);
        const auto key = [&](const Entry& each) { return total(inside[each.path]); };
        std::string text;
        for (const Entry& each : ranked(left, length, key)) {
            Number largest = 0, second = 0;
            for (const Entry& entry : inside[each.path]) {
                const bool file = entry.type == 1;
                if (entry.blocks > second && entry.blocks > largest)
                    second = std::exchange(largest, file ? entry.blocks : largest);
                else if (entry.blocks > second && file)
                    second = entry.blocks;
            }
            const Entries& own = inside[each.path];
            text += each.print("SDirectory",
                               row(1, id, sum(own, isFile), sum(own, isDirectory), total(own),
                                   largest, second, sizesOf(own, false), sizesOf(own, true)));
        }
        return text;
    }

    [[nodiscard]] std::string types() const {
        std::map<std::string, Entries> byExtension;
        for (const Entry& each : counted) {
            const std::size_t dot = each.path.rfind('.');
            std::string extension = dot == std::string::npos ? "" : each.path.substr(dot);
            for (char& c : extension)
                c = static_cast<char>(std::tolower(c));
            if (each.type == 1 && extension.size() >= 2 && extension.size() <= 7 &&
                extension.find_first_of("/\\ ") == std::string::npos)
                byExtension[extension].push_back(each);
        }
        const std::vector<std::pair<std::string, Entries>> sums(byExtension.begin(),
                                                                byExtension.end());
        std::string text;
        for (const auto& [extension, own] :
             ranked(sums, length, [](const auto& each) { return total(each.second); }))
            text += entity("FileTypeSummary",
                           row(id, 1, static_cast<Number>(own.size()), total(own)) +
                               entity("FileType", row(0, extension, std::string())));
        return text;
    }

    [[nodiscard]] std::string owners(Number Entry::*by, bool isGroup) const {
        std::map<Number, Entries, std::greater<>> byNumber;
        for (const Entry& each : counted)
            byNumber[each.*by].push_back(each);
        std::string text;
        for (const auto& [key, own] : byNumber) {
            const Entries files = filtered(own, isFile);
            Numbers largest(2);
            for (const Entry& each : files)
                largest.push_back(each.blocks);
            std::sort(largest.rbegin(), largest.rend());
            text += entity("SUserOrGroup",
                           row(1, id, static_cast<Number>(files.size()), total(own), scanTime,
                               0, 0, sum(own, isDirectory), 0, 0, largest[0], largest[1],
                               scanTime, 0, 0, sizesOf(files, false), sizesOf(files, true)) +
                               identity("UserOrGroup", key, isGroup));
        }
        return text;
    }

    [[nodiscard]] std::string ages(Number type, Number Entry::*time) const {
        Numbers sums(10), counts(10);
        Number ageTotal = 0;
        for (const Entry& each : counted) {
            const Number age = scanTime / 1000 - each.*time / 1000;
            const std::size_t range = age < -86400 ? 9 : rangeOf(age, kAgeBounds);
            sums[range] += each.blocks;
            counts[range] += 1;
            ageTotal += range == 9 ? 0 : age;
        }
        const Number known = static_cast<Number>(counted.size()) - counts[9];
        return entity("STimeDist",
                      row(1, id, type, built, ageTotal / known, 0, 0, sums, counts));
    }
};

void makeBlocks(const std::string& path, Number blocks) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT, 0644);
    struct stat status {};
    Number bytes = blocks * 512;
    for (int i = 0; i < 4; ++i, bytes -= (status.st_blocks - blocks) * 512) {
        if (ftruncate(fd, bytes) != 0 || (bytes > 0 && posix_fallocate(fd, 0, bytes) != 0))
            break;
        fstat(fd, &status);
    }
    EXPECT_EQ(blocks, status.st_blocks);
    close(fd);
}

/// A tree with every bound of every statistic in it.
void fill(const TempTree& tree, Number now) {
    for (const char* const directory : {"m/a/deep/er", "m/b", "m/c.dir", "m/empty"})
        tree.mkdirp(directory);
    for (const Number bound : kSizeBounds) {
        for (const Number blocks : {bound - 2, bound, bound + 2})
            makeBlocks(tree.path("m/a/size." + cell(blocks)), blocks);
    }
    Numbers ages = kAgeBounds;
    ages.push_back(-86400);
    for (const Number age : ages) {
        for (Number second = -3; second <= 3; ++second) {  // on the bound whenever it begins
            const std::string name = "m/b/age" + cell(age) + "." + cell(second + 3);
            tree.touch(name, 10);
            tree.times(name, now - age - second + (second % 2) * 50000, now - age - second);
        }
    }
    for (const char* const name :
         {"x.TXT", "y.txt", "z.sixsix", "z.longext", "dot.", ".x", "b c.e", "b.c d",
          "two.tar.gz", "none", "line\n\"quoted\".q\"\n"})
        tree.touch(std::string("m/a/deep/") + name, 3000);
    for (int i = 0; i < 9; ++i) {  // ties in rankings of 5
        const std::string name = "m/a/deep/er/tie." + cell(i % 7);
        tree.touch(name + cell(i), 5000);
        tree.times(name + cell(i), now - 40000000, now - 40000000);
        tree.chown(name + cell(i), i < 7 ? 54321 : 4000000000, i % 2 == 0 ? 54322 : 0);
        tree.mkdirp("m/tie" + cell(i % 6));
        makeBlocks(tree.path("m/tie" + cell(i % 6) + "/tie"), kSizeBounds[5] + 2);
    }
    for (const std::string name : {"m/c.dir/two.x", "m/c.dir/three.x"}) {
        tree.touch(name, 7000);
        tree.link(name, name + "y");
    }
    for (int i = 0; i < 48; ++i) {  // directories that are larger than the file beside them
        const std::string place = "m/push" + cell(i % 6);
        tree.mkdirp(place + "/large");
        tree.touch(place + "/large/" + std::string(240, 'x') + cell(i));
        tree.touch(place + "/small", 100);
    }
    tree.link("m/c.dir/three.x", "m/elsewhere");
    tree.symlink("d1", "m/short");
    tree.symlink(std::string(500, 'x'), "m/long.lnk");
    tree.mkfifo("m/fifo");
    ASSERT_EQ(0, mknod(tree.path("m/device").c_str(), S_IFBLK | 0600, makedev(7, 200)));
    ASSERT_EQ(0, mknod(tree.path("m/socket").c_str(), S_IFSOCK | 0600, 0));
    tree.touch("m/\xff\xfe\"'$(reboot)`;*?[", 100000);
    tree.touch("m/sparse");
    ASSERT_EQ(0, truncate(tree.path("m/sparse").c_str(), 4L << 20U));
    tree.chown("m/empty", 54321, 1);
}

/// The header of a stored file.
std::string header(const std::string& name) {
    const std::string text = dataFile(name), end = "[/Header]\n";
    return text.substr(0, text.find(end) + end.size());
}

/// Of the lists of the statistics 100, the built-in one, 200 and 300.
Number lengthOf(Number id) {
    return id == 200 ? 5 : id == 300 ? 1000 : 0;
}

std::string statistic(Number id, const char* unknownHere) {
    const Number length = lengthOf(id);
    const char* const flag = length > 0 ? "Y" : "N";
    return row(id, -1, "usr", "all", "null", length > 0 ? 1 : 3, 0, length, length, length,
               length, length, length, "Y", flag, flag, flag, flag, flag, unknownHere,
               unknownHere, "N", length, 0, 0, 0, "N", "null");
}

TEST(StatisticsTest, EveryRowOfTheResultIsThatOfAPlainReckoning) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const TempTree tree;
    tree.mkdirp("m");
    const TestMount mount = TestMount::ext4(tree.path("image"), tree.path("m"), "3000M",
                                            "-b 1024 -E lazy_journal_init=1");
    const Number now = time(nullptr);
    fill(tree, now);

    ScanRun run;
    run.define(header("example-definition.dat") + "[AgentScan]\n" + row("job1", 42) +
               entity("Filesystem", row(1, 42, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 23, 1,
                                        tree.path("m"), "null", 0, 0, "null", "false", 0, 0)) +
               entity("CuStatDef", statistic(100, "N")) +
               entity("CuStatDef", statistic(200, "Y")) +
               entity("CuStatDef", statistic(300, "Y")) + "[/AgentScan]\n");
    run.start();
    ASSERT_EQ(0, run.exitCode);

    const ScanRun::Record filesystem = run.records("Filesystem").at(0);
    const Number scanTime = std::stoll(filesystem.at("fsScanTime"));
    ASSERT_GT(3, scanTime / 1000 - now);
    Entries all = {Entry(tree.path("m/"), "")};
    Entries left;
    readTree(Entry(all.front()), all, left);
    std::set<Number> met;
    const Entries counted = filtered(all, [&](const Entry& each) {
        return each.links == 1 || !met.insert(each.inode).second;
    });
    const Numbers sizes = sizesOf(counted, true);
    ASSERT_EQ(0, std::count(sizes.begin(), sizes.end(), 0));

    struct statvfs space {};
    ASSERT_EQ(0, statvfs(tree.path("m").c_str(), &space));
    const Number unit = static_cast<Number>(space.f_frsize / 512);
    const auto in512 = [unit](fsblkcnt_t blocks) { return static_cast<Number>(blocks) * unit; };
    const auto count = [](fsfilcnt_t files) { return static_cast<Number>(files); };
    const std::string place =
        entity("Filesystem",
               row(1, -1, 7, 0, 0, count(space.f_files), count(space.f_files - space.f_ffree),
                   count(space.f_favail), 3000L * 2048, in512(space.f_blocks),
                   in512(space.f_blocks - space.f_bavail), in512(space.f_bavail), 0, 0,
                   scanTime, 23, 1, tree.path("m/"), "null", 0, 42, "null", "true"));
    std::string body = row("job1", 42) + place;
    Reckoning reckoning = {all, left, counted, filesystem, scanTime};
    for (const ScanRun::Record& summary : run.records("SSummary")) {
        reckoning.id = std::stoll(summary.at("sumStatisticID"));
        reckoning.length = lengthOf(reckoning.id);
        reckoning.built = std::stoll(summary.at("sumScanTime"));
        body += entity("CuStatDef", statistic(reckoning.id, "N") +
                                        entity("ResultsByFS", reckoning.results() + place));
    }
    EXPECT_EQ(header("example-result.txt") + entity("AgentScan", body), run.result());
}

}  // namespace
