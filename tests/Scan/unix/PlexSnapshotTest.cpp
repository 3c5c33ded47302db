#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "Scan/unix/PlexSnapshot.h"
#include "support/TempTree.h"
#include "support/inChild.h"

namespace {

class PlexSnapshotTest : public testing::Test {
protected:
    /// The snapshot directory of what is mounted at "/p", by this tool and mount table.
    std::string directory(const std::string& script, const std::string& table,
                          std::int32_t nfsTimeout = 0) const {
        tree.write("tool", "#!/bin/sh\n" + script + "\n");
        tree.chmod("tool", 0755);
        tree.write("mtab", table);
        return plexSnapshotDirectory("/p", nfsTimeout, {tree.path("tool"), tree.path("mtab")});
    }

    const TempTree tree;
    const std::string kTable =
        "d1 /p plexfs rw 0 0\n/dev/d:2 /p plexfs rw 0 0\nd3 /p2 x rw 0 0\n";
};

TEST_F(PlexSnapshotTest, TheToolNamesTheDirectoryOrItHasTheUsualName) {
    const std::pair<const char*, const char*> kCases[] = {
        {"echo 'It is \".snaps\" (global)'; yes",                               "/p/.snaps"     },
        {"echo \"It is '.other name'\"; exit 3",                                "/p/.other name"},
        {"[ \"$# $0 $1 $2\" = \"2 $0 /dev/d:2 -q\" ] && echo '\".seen\"'; cat", "/p/.seen"      },
        {"echo '\".open'",                                                      "/p/.snapshots" },
        {"echo '\".\"'",                                                        "/p/.snapshots" },
        {"echo '\"..\"'",                                                       "/p/.snapshots" },
        {"echo '\"../etc\"'",                                                   "/p/.snapshots" },
        {"sleep 60 & echo '\".left\"'",                                         "/p/.left"      },
        {"exec /no/such",                                                       "/p/.snapshots" },
    };
    for (const auto& [script, expected] : kCases)
        EXPECT_EQ(expected, directory(script, kTable)) << script;
}

TEST_F(PlexSnapshotTest, ADeviceIsNoCommandAndNoOption) {
    const std::string mark = tree.path("mark");
    const std::string kDevices[] = {"`touch${IFS}" + mark + "`",
                                    "$(touch\\040" + mark + ")",
                                    ";touch\\040" + mark,
                                    "-x",
                                    "a\\011b",
                                    "a\\012b"};
    for (const std::string& device : kDevices) {
        EXPECT_EQ("/p/.snapshots", directory("echo '\".run\"'", device + " /p plexfs rw 0 0\n"))
            << device;
    }
    EXPECT_FALSE(tree.exists("mark"));
    EXPECT_EQ("/p/.snapshots", directory("echo '\".run\"'", "")) << "nothing is mounted";
}

TEST_F(PlexSnapshotTest, AToolThatNeverEndsIsKilledWithItsChildren) {
    const std::string endless = "trap '' TERM; (sleep 1.5; touch " + tree.path("survived") +
                                ") & echo '\".run\"'; sleep 60";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ("/p/.snapshots", directory(endless, kTable, 1));
    EXPECT_EQ(1, inStoppedChild(
                     [&] { return directory(endless, kTable) == "/p/.snapshots" ? 1 : 0; }));
    EXPECT_GT(std::chrono::seconds(20), std::chrono::steady_clock::now() - start);
    usleep(1500000);
    EXPECT_FALSE(tree.exists("survived"));
}

}  // namespace
