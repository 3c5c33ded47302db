#include <gtest/gtest.h>

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
    EXPECT_EQ(1, depthBelow("/R&D/", "/R&&D/&*")) << "without the escapes";
    for (const char* directory : {"/mn/*", "/mnt/ab/d", "/mnt/aa", "/mnt/b", "/mnt"})
        EXPECT_EQ(-1, depthBelow("/mnt/a/", directory)) << directory;
}

TEST(FilesystemScanArrangeTest, LocalFileSystemsComeFirstAndTheRequestIsSortedAtTheEnd) {
    AgentScan request;
    for (const std::int32_t id : {2, 7, 3, 5}) {  // each goes to the front
        auto filesystem = std::make_unique<Filesystem>();
        filesystem->fsID = id;
        if (id == 3 || id == 5)
            filesystem->filer = std::make_unique<NasFiler>();
        filesystem->next = request.getFilesystems();
        request.setFilesystems(filesystem.release());
    }
    const auto order = [&request] {
        std::string ids;
        for (Filesystem* member = request.getFilesystems(); member; member = member->next)
            ids += std::to_string(member->fsID);
        return ids;
    };
    request.setFilesystems(FilesystemScan::arrangeFilesystems(request.getFilesystems()));
    EXPECT_EQ("7235", order());  // of one filer the last comes first
    FilesystemScan::sortFilesystemsByID(&request);
    EXPECT_EQ("2357", order());
    EXPECT_EQ(nullptr, FilesystemScan::arrangeFilesystems(nullptr));
}
