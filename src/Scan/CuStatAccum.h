#pragma once

#include <cstdint>
#include <memory>

#include "Scan/Accumulator.h"
#include "Scan/FileAction.h"
#include "Scan/InodeTable.h"
#include "Scan/LargeDirAccum.h"

class CuStatDef;
class CuStatResults;
class Filesystem;

/// One statistic on one file system during its walk: applies the hard-link test and fans
/// each entry out to the accumulators that the statistic asks for.
///
///     accum->buildAccum(statistic, filesystem);
///     resultsByFS->rfResults = accum->takeResults().release();
///     ... the walk: actUpon, directoryEntered, directoryLeft ...
///
/// The results fill during the walk and are complete when the root has been left.
class CuStatAccum : public FileAction {
public:
    /// Statistics that run together share the table of inodes that they have met.
    explicit CuStatAccum(
        std::shared_ptr<InodeTable> sharedInodes = std::make_shared<InodeTable>());
    ~CuStatAccum() override;
    CuStatAccum(const CuStatAccum&) = delete;
    CuStatAccum& operator=(const CuStatAccum&) = delete;

    /// Drops all accumulators and makes those that `statistic` asks for, with new results.
    void buildAccum(CuStatDef* statistic, Filesystem* filesystem);

    /// True if entries have owners and groups that are worth a table: not so on the FAT
    /// file systems of Windows.
    [[nodiscard]] static bool checkForFAT(const CuStatDef& statistic,
                                          const Filesystem& filesystem);

    /// Hands over the results, once; this object goes on filling them.
    [[nodiscard]] std::unique_ptr<CuStatResults> takeResults();

    void actUpon(Scanner* pScanner, FileAttributes* pInfo) override;
    void directoryEntered(FileAttributes* pDirInfo) override;
    void directoryLeft() override;

protected:
    CuStatAccum(const char* name, std::shared_ptr<InodeTable> sharedInodes);

    void releaseInodeTableMap();

    /// Below the directory that was entered first; -1 outside of it.
    [[nodiscard]] std::int32_t getLevel() const { return level; }

private:
    void addRankings(const CuStatDef& statistic, const Filesystem& filesystem);
    void addOwners(const CuStatDef& statistic, const Filesystem& filesystem);
    void addSummary(const CuStatDef& statistic, const Filesystem& filesystem, std::int64_t now);
    void addSizeDist(const CuStatDef& statistic, const Filesystem& filesystem);
    void addTimeDists(CuStatDef& statistic, const Filesystem& filesystem, std::int64_t now);
    void addFileTypes(const CuStatDef& statistic);
    void pushFront(std::unique_ptr<Accumulator> accumulator);
    void releaseAccumulators();

    std::shared_ptr<InodeTable> inodeTable;     // inodes of several links that were met
    const std::size_t statisticNumber;          // of this one in the table
    std::int32_t level = 0;                     // below the walk's root; -1 outside a walk
    ListElement* accumulators = nullptr;        // owned, newest first
    CuStatResults* results = nullptr;           // not owned once taken
    std::unique_ptr<CuStatResults> newResults;  // until taken
    std::unique_ptr<LargeDirAccum> largeDirs;   // apart, for it hears of directories; or null
};
