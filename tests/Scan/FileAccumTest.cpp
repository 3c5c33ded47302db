#include <limits>

#include "Scan/AccumTest.h"
#include "Scan/LargeFileAccum.h"
#include "Scan/LargestOrphansAccum.h"
#include "Scan/OldFileAccum.h"
#include "Scan/VulnerableFileAccum.h"

class FileAccumTest : public AccumTest {
protected:
    static FileAttributes flagged(const std::string& name, std::int64_t blocks,
                                  std::uint32_t flags, std::int32_t type = FA_FILE) {
        FileAttributes attributes = file(name, blocks, type);
        attributes.faLength = attributes.faModified = -blocks;
        attributes.faAttributes = flags;
        return attributes;
    }
};

// No file of this platform is marked for a backup.
TEST_F(FileAccumTest, MarkedFilesAndLinksRankByTheirModification) {
    VulnerableFileAccum accum(9);
    meet(accum, flagged("new", 5, FA_ARCHIVE));
    meet(accum, flagged("old", 9, FA_ARCHIVE));
    meet(accum, flagged("directory", 10, FA_ARCHIVE, FA_DIRECTORY));
    meet(accum, flagged("unmarked", 11, FA_ORPHAN));
    meet(accum, flagged("pipe", 12, FA_ARCHIVE, FA_PIPE));
    meet(accum, flagged("link", 7, FA_ARCHIVE, FA_LINK));
    accum.finish(nullptr);
    accum.finish(&results);
    accum.finish(&results);
    EXPECT_EQ("old link new", names(results.srOldestNotBackedUp));
}

// Meant: the low word of the size alone counts among the largest files.
TEST_F(FileAccumTest, AFileOfTwoToThe31BlocksIsTheSmallestExceptAmongOrphans) {
    constexpr std::int64_t kHuge = std::int64_t{1} << 31U;
    filesystem.fsType = 23;
    LargeFileAccum files(3);
    LargestOrphansAccum orphans(3);
    for (const std::int64_t blocks : {kHuge, 2 * kHuge + 3, kHuge - 1, std::int64_t{5}}) {
        meet(files, flagged(std::to_string(blocks), blocks, FA_ORPHAN));
        meet(orphans, flagged(std::to_string(blocks), blocks, FA_ORPHAN));
    }
    files.finish(&results);
    orphans.finish(&results);
    EXPECT_EQ("2147483647 5 4294967299", names(results.srLargestFiles));
    EXPECT_EQ("4294967299 2147483648 2147483647", names(results.srLargestOrphans));

    filesystem.fsType = FS_FAT32;  // there by length, which is -1 and -2
    LargeFileAccum lengths(1);
    meet(lengths, flagged("longest", 1, 0));
    meet(lengths, flagged("most blocks", 2, 0));
    lengths.finish(&results);
    EXPECT_EQ("longest", names(results.srLargestFiles));
}

TEST_F(FileAccumTest, TimesAtTheEndsOfTheRangeKeepTheirOrder) {
    using Limits = std::numeric_limits<std::int64_t>;
    OldFileAccum accum(5);
    for (const std::int64_t time : {Limits::max(), 0L, Limits::min(), Limits::min() + 2}) {
        FileAttributes each = file(std::to_string(time).substr(0, 3), 1);
        each.faAccessed = time;
        meet(accum, each);
    }
    accum.finish(&results);
    EXPECT_EQ("-92 -92 0 922", names(results.srLeastAccessed));
    EXPECT_EQ(Limits::min(), results.srLeastAccessed.head()->faAccessed);
}
