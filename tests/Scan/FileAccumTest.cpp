#include <limits>

#include "Scan/AccumTest.h"
#include "Scan/LargeFileAccum.h"
#include "Scan/LargestOrphansAccum.h"
#include "Scan/OldFileAccum.h"
#include "Scan/OldestOrphansAccum.h"
#include "Scan/VulnerableFileAccum.h"

class FileAccumTest : public AccumTest {
protected:
    /// A file of its own length, times, in milliseconds, and flags.
    static FileAttributes file(const std::string& name, std::int64_t blocks,
                               std::int64_t accessed, std::int64_t modified,
                               std::uint32_t flags, std::int32_t type = FA_FILE) {
        FileAttributes attributes = AccumTest::file(name, blocks, type);
        attributes.faAccessed = accessed;
        attributes.faModified = modified;
        attributes.faAttributes = flags;
        attributes.faLength = 1000 - blocks;
        return attributes;
    }

    /// The names that the ranking of one class holds in the end.
    template <class Accum>
    std::string ranking(SFileList CuStatResults::*list, int length) {
        Accum accum(length);
        constexpr std::uint32_t kBoth = FA_ORPHAN | FA_ARCHIVE;
        for (const FileAttributes& each : {
                 file("new", 50, 900, 10, kBoth),
                 file("old", 20, 100, 90, FA_ORPHAN),
                 file("dir", 99, 1, 1, kBoth, FA_DIRECTORY),
                 file("pipe", 98, 0, 0, kBoth, FA_PIPE),
                 file("known", 80, 50, 5, FA_ARCHIVE),
                 file("link", 20, 300, 20, kBoth, FA_LINK),
                 file("empty", 0, 200, 30, 0),
             })
            meet(accum, each);
        accum.finish(nullptr);
        accum.finish(&results);
        accum.finish(&results);
        return names(results.*list);
    }
};

TEST_F(FileAccumTest, EachRankingHasItsTestAndItsOrder) {
    filesystem.fsType = 10;
    EXPECT_EQ("known new link old empty",
              ranking<LargeFileAccum>(&CuStatResults::srLargestFiles, 9));
    EXPECT_EQ("known old", ranking<OldFileAccum>(&CuStatResults::srLeastAccessed, 2));
    EXPECT_EQ("known new",
              ranking<VulnerableFileAccum>(&CuStatResults::srOldestNotBackedUp, 2));
    EXPECT_EQ("new old", ranking<LargestOrphansAccum>(&CuStatResults::srLargestOrphans, 2));
    EXPECT_EQ("old", ranking<OldestOrphansAccum>(&CuStatResults::srOldestOrphans, 1));
    const std::pair<SFileList CuStatResults::*, int> kTypes[] = {
        {&CuStatResults::srLargestFiles,      0},
        {&CuStatResults::srLeastAccessed,     1},
        {&CuStatResults::srOldestNotBackedUp, 2},
        {&CuStatResults::srLargestOrphans,    3},
        {&CuStatResults::srOldestOrphans,     4},
    };
    for (const auto& [list, type] : kTypes) {
        EXPECT_EQ(type, (results.*list).head()->sfStatType);
        EXPECT_EQ(7, (results.*list).head()->sfFilesystemID);
        EXPECT_EQ(200, (results.*list).head()->sfStatisticID);
    }
    filesystem.fsType = FS_FAT32;  // by length, which falls here where the blocks rise
    EXPECT_EQ("empty link", ranking<LargeFileAccum>(&CuStatResults::srLargestFiles, 2));
}

// Meant: the low word of the size alone counts among the largest files.
TEST_F(FileAccumTest, AFileOfTwoToThe31BlocksIsTheSmallestExceptAmongOrphans) {
    constexpr std::int64_t kHuge = std::int64_t{1} << 31U;
    filesystem.fsType = 23;
    LargeFileAccum files(3);
    LargestOrphansAccum orphans(3);
    for (const auto& [name, blocks] : {
             std::pair{"huge",    kHuge          },
             {"wrapped", 2 * kHuge + 3  },
             {"most",    kHuge - 1      },
             {"five",    std::int64_t{5}}
    }) {
        const FileAttributes each = file(name, blocks, 0, 0, FA_ORPHAN);
        meet(files, each);
        meet(orphans, each);
    }
    files.finish(&results);
    orphans.finish(&results);
    EXPECT_EQ("most five wrapped", names(results.srLargestFiles));
    EXPECT_EQ("wrapped huge most", names(results.srLargestOrphans));
}

TEST_F(FileAccumTest, TimesAtTheEndsOfTheRangeKeepTheirOrder) {
    using Limits = std::numeric_limits<std::int64_t>;
    OldFileAccum accum(5);
    for (const auto& [name, time] : {
             std::pair{"last",  Limits::max()    },
             {"epoch", 0L               },
             {"first", Limits::min()    },
             {"early", Limits::min() + 2}
    })
        meet(accum, file(name, 1, time, 0, 0));
    accum.finish(&results);
    EXPECT_EQ("first early epoch last", names(results.srLeastAccessed));
    EXPECT_EQ(Limits::min(), results.srLeastAccessed.head()->faAccessed);
    EXPECT_STREQ("SFile", results.srLeastAccessed.head()->getClassName());
}
