#include <gtest/gtest.h>

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
