#include <gtest/gtest.h>

#include "Scan/unix/PlexSnapshot.h"
#include "support/TempTree.h"

TEST(PlexSnapshotTest, TheToolNamesTheDirectoryOrItHasTheUsualName) {
    const TempTree tree;
    const std::tuple<std::string, const char*, const char*> kCases[] = {
        {"/proc",     "echo 'It is \".snaps\" (global)'",              "/.snaps"     },
        {"/proc",     "echo \"It is '.other name'\"; exit 3",          "/.other name"},
        {"/proc",     "[ \"$1 $2\" = 'proc -q' ] && echo '\".seen\"'", "/.seen"      },
        {"/proc",     "echo '\".open'",                                "/.snapshots" },
        {"/a`touch`", "echo '\".run\"'",                               "/.snapshots" },
    };
    for (const auto& [mount, script, directory] : kCases) {
        tree.write("tool", std::string("#!/bin/sh\n") + script + "\n");
        tree.chmod("tool", 0755);
        EXPECT_EQ(mount + directory, plexSnapshotDirectory(mount, tree.path("tool"))) << script;
    }
}
