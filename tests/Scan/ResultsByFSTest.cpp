#include <limits>

#include "Common/GenericPrint.h"
#include "Scan/AccumTest.h"
#include "Scan/CuStatAccum.h"
#include "Scan/CuStatDef.h"
#include "Scan/DirectoryResults.h"
#include "Scan/MonDirSpec.h"
#include "Scan/ResultsByFS.h"
#include "Scan/UserOrGroup.h"
#include "support/TempTree.h"

namespace {

constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

class ResultsByFSTest : public AccumTest {
protected:
    /// Asks for everything; a file is in all rankings.
    ResultsByFSTest() {
        for (const auto ranking : {&CuStatDef::sdLargestDirectories, &CuStatDef::sdLargestFiles,
                                   &CuStatDef::sdLeastAccessed, &CuStatDef::sdOldestNotBackedUp,
                                   &CuStatDef::sdLargestOrphans, &CuStatDef::sdOldestOrphans,
                                   &CuStatDef::sdLargestFileTypes})
            statistic.*ranking = 30;
        for (const auto table :
             {&CuStatDef::sdSummary, &CuStatDef::sdSizeDistribution, &CuStatDef::sdGroupByOwner,
              &CuStatDef::sdGroupByGroup, &CuStatDef::sdGroupByAccess, &CuStatDef::sdGroupByMod,
              &CuStatDef::sdGroupByBackup})
            statistic.*table = true;
        owners[0].ugID = -294912975;
        owners[1].ugName = "an owner";
    }

    FileAttributes numbered(const std::string& name, std::int64_t number,
                            EntryType type = FA_FILE) const {
        FileAttributes entry = file(name, number, type);
        entry.faAttributes = FA_ORPHAN | FA_ARCHIVE;
        entry.faCreated = entry.faInodeNumber = ~number;
        entry.faLength = entry.faModified = number;
        entry.faAccessed = number / 2;
        entry.faLinkCount = 1;
        entry.faOwner = &owners[number % 2 == 0 ? 0 : 1];
        entry.faGroup = number % 3 == 0 ? nullptr : &owners[0];
        return entry;
    }

    template <class Record>
    std::string printed(const Record& record) const {
        GenericPrint out(GenericPrint::ENTITIES, tree.path("out"));
        record.printData(out);
        return tree.read("out");
    }

    const TempTree tree;
    std::array<UserOrGroup, 2> owners;
    CuStatDef statistic;
};

}  // namespace

TEST_F(ResultsByFSTest, WhatIsKeptOfADirectoryIsWrittenAsItWas) {
    CuStatAccum accum;
    accum.buildAccum(&statistic, &filesystem);
    const std::unique_ptr<CuStatResults> complete = accum.takeResults();
    FileAttributes root = numbered("/a/dir", 11, FA_DIRECTORY);
    accum.directoryEntered(&root);
    std::string name;
    for (const std::int64_t number : {kLeast, kMost, std::int64_t{0}, std::int64_t{63},
                                      std::int64_t{64}, std::int64_t{-65}, kLeast + 1}) {
        name += "/\xff" + std::to_string(number);
        FileAttributes entry = numbered("/a/dir" + name + ".txt", number);
        accum.actUpon(&scanner, &entry);
    }
    accum.directoryLeft();
    complete->srSummary->sumAccumCount = -3;
    complete->srSummary->sumType = 4;
    complete->srAccessed->tdHistType = 32767;
    complete->srModified->tdAccumCount = 77;

    SMonDir directory;
    directory.enter(root, 7);
    directory.smDirectoryID = 8;
    directory.smNewDirectory = 9;
    directory.smScanTime = kMost;
    directory.smRemovedTime = kLeast;
    MonDirSpec one, other;
    one.mdsID = 1;
    other.mdsPath = "/a/*";
    for (const MonDirSpec* const spec : {&one, &one, &other, &one})
        directory.smDirSpecs.add(spec);

    ResultsByFS kept;
    kept.keepDirectory(*complete, directory);
    EXPECT_EQ("[ResultsByFS]\n" + printed(*complete) + printed(directory) + "[/ResultsByFS]\n",
              printed(kept));
    EXPECT_EQ(7, complete->srSummary->sumFileCount);
    EXPECT_TRUE(kept.passes(7) && kept.passes(0) && !kept.passes(8));
}
