#include <cstdint>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "Scan/WalkTest.h"
#include "Scan/unix/ScannerUnix.h"
#include "common/unx/UniqueFd.h"

/// With and without a time-out for each call: a walk looks the same.
class ScannerUnixTest : public WalkTest, public testing::WithParamInterface<std::int32_t> {
protected:
    ScannerUnixTest() { nfsTimeout = GetParam(); }

    std::int32_t walk() { return WalkTest::walk(factory, tree.root()); }

    const TempTree tree;
    DirectoryReaderFactory factory;
};

INSTANTIATE_TEST_SUITE_P(DirectAndGuarded, ScannerUnixTest, testing::Values(0, 60));

// Names of any bytes are those of HostileTest.
TEST_P(ScannerUnixTest, AttributesAreThoseOfLstat) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const std::tuple<std::string, mode_t, std::int32_t, std::uint32_t> kEntries[] = {
        {"file",      S_IFREG | 0644,  FA_FILE,      0                                         },
        {"tool",      S_IFREG | 06001, FA_FILE,      FA_SET_USER | FA_SET_GROUP | FA_EXECUTABLE},
        {"orphan",    S_IFREG | 01600, FA_FILE,      FA_STICKY | FA_ORPHAN                     },
        {"directory", S_IFDIR | 03755, FA_DIRECTORY, FA_STICKY | FA_SET_GROUP                  },
        {"link",      S_IFLNK | 0777,  FA_LINK,      0                                         },
        {"pipe",      S_IFIFO | 0777,  FA_PIPE,      0                                         },
        {"socket",    S_IFSOCK | 0600, FA_SOCKET,    0                                         },
        {"tape",      S_IFCHR | 0600,  FA_DEVICE,    0                                         },
        {"disk",      S_IFBLK | 0600,  FA_DEVICE,    FA_BLOCK_DEVICE                           },
    };
    const TestMount mount = TestMount::tmpfs(tree.root());  // which keeps any time
    tree.touch("future");
    tree.times("future", 0, INT64_MAX / 2);
    tree.mkdirp("directory/below");
    tree.symlink("directory", "link");
    tree.touch("file", 10000);
    tree.link("file", "file2");
    for (const auto& [name, mode, type, flags] : kEntries) {
        mknod(tree.path(name).c_str(), mode, 0x101);  // unless it is there
        tree.chown(name, (flags & FA_ORPHAN) != 0 ? 54321 : 0, 54322);
        if (type != FA_LINK)
            tree.chmod(name, mode & 07777);
        tree.times(name, type == FA_FILE ? 9000 : 1000, 5000);
    }
    EXPECT_EQ(0, walk());
    EXPECT_FALSE(action.seen.contains("/link/below"));
    EXPECT_EQ(INT64_MAX, action.seen["/future"].faModified);
    for (const auto& [name, mode, type, flags] : kEntries) {
        SCOPED_TRACE(name);
        struct stat status {};
        EXPECT_EQ(0, lstat(tree.path(name).c_str(), &status));
        const FileAttributes& file = action.seen["/" + name];
        EXPECT_EQ(type, file.faType);
        EXPECT_EQ(flags, file.faAttributes);
        EXPECT_EQ(status.st_size, file.faLength);
        EXPECT_EQ(status.st_blocks, file.faBlocks);
        EXPECT_EQ(status.st_ino, static_cast<ino_t>(file.faInodeNumber));
        EXPECT_EQ(name == "file" ? 2 : 1, file.faLinkCount);
        EXPECT_EQ(5000'000, file.faModified);
        EXPECT_EQ(type == FA_FILE ? 9000'000 : 5000'000, file.faAccessed);
        EXPECT_EQ(users.lookup(Sid(status.st_uid), false), file.faOwner);
        EXPECT_EQ(users.lookup(Sid(status.st_gid), true), file.faGroup);
    }
}

TEST_P(ScannerUnixTest, OtherMountsAreCountedButNeitherShownNorEntered) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    for (const char* name : {"tmp", "bound", "source"})
        tree.mkdirp(name);
    tree.touch("source/f");
    tree.touch("file");
    const TestMount mounts[] = {TestMount::tmpfs(tree.path("tmp")),
                                TestMount::bind(tree.path("source"), tree.path("bound")),
                                TestMount::bind(tree.path("source/f"), tree.path("file"))};
    EXPECT_EQ(0, walk());
    EXPECT_EQ("/ /source /source/f", action.paths());
    EXPECT_EQ(1, logged("AGT0144I .*: 6\n"));
}

TEST(WalkPlaceTest, MountAndDeviceTellWhatIsElsewhere) {
    enum Kind { PLAIN, DIRECTORY };
    struct {
        bool deviceTells;
        std::uint64_t rootMount;
        std::uint64_t device;
        std::uint64_t mount;
        Kind kind;
        bool isHere;
    } const kCases[] = {
        {true,  7, 1,               7, PLAIN,     true },
        {true,  7, 1,               8, PLAIN,     false}, // bound from the same file system
        {true,  7, 2,               7, DIRECTORY, false},
        {true,  0, 1,               8, PLAIN,     true }, // the kernel did not tell of the root
        {true,  7, (1UL << 32) + 1, 7, PLAIN,     true }, // devices count with 32 bits
        {false, 7, 2,               7, PLAIN,     true }, // a layer of the overlay
        {false, 7, 2,               8, PLAIN,     false},
        {false, 0, 2,               0, PLAIN,     true },
        {false, 0, 2,               0, DIRECTORY, false}, // no layer, so a mount
    };
    for (const auto& [deviceTells, rootMount, device, mount, kind, isHere] : kCases) {
        const WalkPlace place = {
            {1, 2, rootMount},
            deviceTells
        };
        EXPECT_EQ(isHere, place.holds({device, 3, mount}, kind == DIRECTORY))
            << deviceTells << rootMount << device << mount << kind;
    }
}

TEST_P(ScannerUnixTest, AllLayersOfAnOverlayAreOneFileSystem) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const TestMount outer = TestMount::tmpfs(tree.root());  // takes the overlay along
    for (const char* name : {"lower", "upper", "work", "merged"})
        tree.mkdirp(name);
    const TestMount lower = TestMount::tmpfs(tree.path("lower"));
    tree.touch("lower/old");
    const std::string options = "lowerdir=" + tree.path("lower,upperdir=") +
                                tree.path("upper,workdir=") + tree.path("work");
    if (mount("none", tree.path("merged").c_str(), "overlay", 0, options.c_str()) != 0)
        GTEST_SKIP() << "needs overlay file systems";
    EXPECT_EQ(0, WalkTest::walk(factory, tree.path("merged")));
    EXPECT_EQ("/ /old", action.paths());
}

TEST_P(ScannerUnixTest, WhatStandsInForADirectoryIsEnteredIfItIsOneOfThisFileSystem) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    std::deque<TempTree> aside;
    std::optional<TestMount> other;
    struct {
        std::function<void()> exchange;
        const char* inside;
    } const kCases[] = {
        {[this] { tree.mkdirp("d/new"); },                     "act 3 /d/new, enter /d/new, left, "},
        {[&] { tree.symlink(aside.back().path("was"), "d"); }, ""                                  },
        {[this] { tree.mkfifo("d"); },                         ""                                  },
        {[] { /* gone */ },                                    ""                                  },
        {[&] {
             tree.mkdirp("d/x"),
                 other.emplace(TestMount::bind(tree.path("d/x"), tree.path("d")));
         },                                           ""                                  },
    };
    for (const auto& each : kCases) {
        tree.mkdirp("d/before");
        action.onAct = [&](const std::string& path) {
            if (path == "/")
                return;
            aside.emplace_back();
            std::filesystem::rename(tree.path("d"), aside.back().path("was"));
            each.exchange();
        };
        action.story.clear();
        EXPECT_EQ(0, walk());
        EXPECT_EQ(
            std::string("act 3 /, enter /, act 3 /d, enter /d, ") + each.inside + "left, left",
            action.story);
        other.reset();
        std::filesystem::remove_all(tree.path("d"));
    }
    EXPECT_EQ(4, logged("STA0121E.* /d\n"));
}

TEST_P(ScannerUnixTest, DirectoriesBelowTheDeepestLevelAreShownButNotEntered) {
    std::string deepest;  // the last that is entered
    for (int level = 1; level < WalkBounds::kMaxComponents; ++level)
        deepest += "/d";
    tree.mkdirp(deepest + "/one/below");
    tree.touch(deepest + "/file");
    EXPECT_EQ(0, walk());
    EXPECT_EQ(1, logged("STA0001E.* " + deepest + "\n"));
    EXPECT_EQ(200U + 2U, action.seen.size());  // those down to it, and what it holds
}

TEST_P(ScannerUnixTest, FewDescriptorsAreEnoughForAnyDepth) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const TestMount fast = TestMount::tmpfs(tree.root());
    constexpr int levels = 120;
    const int siblings = 9;  // on both sides of the way down, whatever the order
    std::string deepest;
    for (int level = 0; level < levels; ++level, deepest += "d5/") {
        for (int i = 0; i < siblings; ++i)
            tree.mkdirp(deepest + "d" + std::to_string(i));
    }
    for (int i = 0; i < 3000; ++i)  // more names than are read at once, before and behind "d5"
        tree.touch("file-with-a-rather-long-name-" + std::to_string(i));
    EXPECT_EQ(0, walk());
    const std::string story = std::exchange(action.story, "");

    struct rlimit before {};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const struct rlimit few = {64, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &few));
    EXPECT_EQ(0, walk());
    EXPECT_TRUE(story == action.story) << "all entries, in their order";
    EXPECT_EQ(0, logged("STA"));

    // Directories move while the walk is far below them.
    const auto move = [this](const char* from, const char* to) {
        std::filesystem::rename(tree.path(from), tree.path(to));
    };
    struct {
        std::function<void()> change;
        long lost;  // directories
    } const kCases[] = {
        {[&] { move("d5", "a"); },                             0}, // found as the parent
        {[&] { move("a/d5/d5/d5", "d1/d5"); },                 0}, // found by its path
        {[&] { move("d1/d5", "a/d5/d5/d5"), move("a", "b"); }, 0},
        {[&] { move("b/d5/d5/d5", "d1/d5"), move("b", "c"); }, 3},
    };
    for (const auto& [change, lost] : kCases) {
        const long earlier = logged("STA0121E");
        bool isDone = false;
        action.onAct = [&, &apply = change](const std::string& path) {
            if (!isDone && path.size() > 3 * 100) {
                isDone = true;
                apply();
            }
        };
        EXPECT_EQ(lost > 0 ? 4 : 0, walk());
        EXPECT_EQ(earlier + lost, logged("STA0121E"));
    }
    EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
}

TEST_P(ScannerUnixTest, EntriesWithTooLongAPathAreSkipped) {
    UniqueFd directory(open(tree.root().c_str(), O_RDONLY));
    const std::string component(250, 'c');
    std::size_t length = tree.root().size() + 1;
    for (int depth = 0; depth < 20; ++depth, length += component.size() + 1) {
        for (std::size_t total = 4095; total <= 4097 && total - length < 250; ++total)
            mknodat(directory.get(), std::string(total - length, 'f').c_str(), S_IFREG, 0);
        mkdirat(directory.get(), component.c_str(), 0755);
        directory.reset(openat(directory.get(), component.c_str(), O_RDONLY));
    }
    tree.touch("sibling");
    EXPECT_EQ(0, walk());
    // The root, the sibling, 16 directories, one file; then three that are too long.
    EXPECT_EQ(19U, action.seen.size());
    EXPECT_EQ(1, logged("STA0063E"));
    EXPECT_EQ(2, logged("STA0139W"));
    EXPECT_EQ(1, logged("AGT0144I .*: 22\n"));
}

TEST_P(ScannerUnixTest, SnapshotsAreLeftOutAtTheTopOnly) {
    for (const char* name : {".snapshot/in", "x.snapshots/in", "a/.snapshot/in"})
        tree.mkdirp(name);
    tree.touch(".snapshot.txt");
    EXPECT_EQ(0, walk());
    EXPECT_EQ("/ /.snapshot.txt /a /a/.snapshot /a/.snapshot/in", action.paths());
    EXPECT_EQ(1, logged("AGT0144I .*: 5\n"));
}

TEST_P(ScannerUnixTest, ARootThatCannotBeReadGivesAnEmptyWalk) {
    EXPECT_EQ(4, WalkTest::walk(factory, tree.path("gone")));
    EXPECT_EQ("enter /, left", action.story);
    EXPECT_EQ(1, logged("STA0063E.* / - "));

    tree.touch("file");
    filesystem.fsMountPoint = tree.path("file");
    EXPECT_EQ(0, WalkTest::walk(factory, ""));
    EXPECT_EQ(2, logged("STA0121E"));
    EXPECT_EQ(2, logged("AGT0144I .*: 1\n"));
}
