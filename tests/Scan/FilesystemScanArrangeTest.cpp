#include <gtest/gtest.h>

#include "Common/GenericException.h"
#include "Probe/Filesystem.h"
#include "Scan/AgentScan.h"
#include "Scan/FilesystemScan.h"
#include "Scan/MonDirSpec.h"

TEST(FilesystemScanArrangeTest, PathsHaveSlashesAndMasks) {
    EXPECT_EQ("C:/a/b//c/", FilesystemScan::normalisedPath(R"(C:\a\\b\\\\c\)"));
    MonDirSpec spec;
    for (const char* path : {"/a*", "a?", "/[x", "/&&*", "/&*?"}) {
        spec.setMdsPath(path);
        EXPECT_TRUE(FilesystemScan::maskedPath(&spec)) << path;
    }
    for (const char* path : {"/a/b", "*/a", "/&*", "/a&", ""}) {
        spec.setMdsPath(path);
        EXPECT_FALSE(FilesystemScan::maskedPath(&spec)) << path;
    }
}

TEST(FilesystemScanArrangeTest, ADirectoryLiesAtADepthBelowTheRootOrElsewhere) {
    const auto depthBelow = [](const char* root, const char* directory) {
        MonDirSpec spec;
        spec.setMdsPath(directory);
        FilesystemScan::maskedPath(&spec);
        return FilesystemScan::depthBelow(root, spec);
    };
    EXPECT_EQ(0, depthBelow("/", "/"));
    EXPECT_EQ(2, depthBelow("/", "/a/b"));
    for (const char* directory : {"/mnt/a", "/mnt/a/", "/mnt/*"})
        EXPECT_EQ(0, depthBelow("/mnt/a/", directory)) << directory;
    for (const char* directory : {"/MNT/A/d/", "/mnt/a/d*"})
        EXPECT_EQ(1, depthBelow("/mnt/a/", directory)) << directory;
    for (const char* directory : {"/mn/*", "/mnt/ab/d", "/mnt/aa", "/mnt/b", "/mnt"})
        EXPECT_EQ(-1, depthBelow("/mnt/a/", directory)) << directory;
}

TEST(FilesystemScanArrangeTest, LocalFileSystemsComeFirstThenFilerByFilerOfEachTree) {
    struct Requested {
        std::int32_t id, filer, tree;  // computers, 0 for none
    };
    AgentScan request;
    for (const Requested& requested : {
             Requested{9, 31, 0}, // each goes to the front
             {3, 21, 5},
             {2, 0,  0},
             {6, 11, 5},
             {5, 21, 5},
             {8, 31, 0},
             {7, 0,  0},
             {4, 31, 9},
             {1, 11, 5}
    }) {
        auto filesystem = std::make_unique<Filesystem>();
        filesystem->fsID = requested.id;
        if (requested.filer != 0) {
            NasFiler& filer = *(filesystem->filer = std::make_unique<NasFiler>());
            filer.nfComputerID = requested.filer;
            filer.filesystem = std::make_unique<Filesystem>();  // which is not scanned
            if (requested.tree != 0)
                filer.tree = std::make_unique<LdapTree>();
            if (filer.tree)
                filer.tree->ltComputerID = requested.tree;
        }
        filesystem->next = request.getFilesystems();
        request.setFilesystems(filesystem.release());
    }
    const auto order = [&request] {
        std::string ids;
        for (Filesystem* member = request.getFilesystems(); member; member = member->next)
            ids += std::to_string(member->fsID);
        return ids;
    };
    EXPECT_EQ("147856239", order());
    for (const char* const arranged : {"729861354", "728916534"}) {  // each reverses a filer's
        request.setFilesystems(FilesystemScan::arrangeFilesystems(request.getFilesystems()));
        EXPECT_EQ(arranged, order());
    }
    FilesystemScan::sortFilesystemsByID(&request);
    EXPECT_EQ("123456789", order());
    EXPECT_EQ(nullptr, FilesystemScan::arrangeFilesystems(nullptr));
    EXPECT_THROW(static_cast<void>(FilesystemScan::maybeAddToList(nullptr, nullptr)),
                 GenericException*);
}
