#include "Scan/CuStatAccum.h"

#include "Common/CommonAgent.h"
#include "Common/ComputerID.h"
#include "Common/unix/psnautil.h"
#include "Probe/Filesystem.h"
#include "Scan/AccessedDistAccum.h"
#include "Scan/BackupDistAccum.h"
#include "Scan/CreatedDistAccum.h"
#include "Scan/CuStatDef.h"
#include "Scan/CuStatResults.h"
#include "Scan/FileAttributes.h"
#include "Scan/FileTypeAccum.h"
#include "Scan/LargeFileAccum.h"
#include "Scan/LargestOrphansAccum.h"
#include "Scan/ModifiedDistAccum.h"
#include "Scan/OldFileAccum.h"
#include "Scan/OldestOrphansAccum.h"
#include "Scan/SizeDistAccum.h"
#include "Scan/SummaryAccum.h"
#include "Scan/UserOrGroupAccum.h"
#include "Scan/VulnerableFileAccum.h"
#include "common/ut/TraceScope.h"

namespace {

bool isWindows() {
    return CommonAgentFactory::getCommonAgent()->isWindows;
}

/// The accumulators of a list, for a loop.
Accumulator* asAccumulator(ListElement* member) {
    return static_cast<Accumulator*>(member);
}

}  // namespace

CuStatAccum::CuStatAccum(std::shared_ptr<InodeTable> sharedInodes)
    : CuStatAccum("CuStatAccum", std::move(sharedInodes)) {}

CuStatAccum::CuStatAccum(const char* name, std::shared_ptr<InodeTable> sharedInodes)
    : FileAction(name),
      inodeTable(std::move(sharedInodes)),
      statisticNumber(inodeTable->addStatistic()) {
    TraceScope scope("CuStatAccum::CuStatAccum");
}

CuStatAccum::~CuStatAccum() {
    TraceScope scope("CuStatAccum::~CuStatAccum");
    releaseAccumulators();
}

// The accumulators hear of an entry in the reverse of the order in which they are added.
void CuStatAccum::buildAccum(CuStatDef* statistic, Filesystem* filesystem) {
    TraceScope scope("CuStatAccum::buildAccum");
    releaseInodeTableMap();
    releaseAccumulators();
    filesystem->fsScanningCompID = ComputerID::scanning();
    const std::int64_t now = currentSeconds() * 1000;  // stamps the records

    newResults = std::make_unique<CuStatResults>();
    results = newResults.get();
    results->srID = statistic->sdID;
    level = -1;
    addRankings(*statistic, *filesystem);
    addOwners(*statistic, *filesystem);
    if (statistic->sdSummary)
        addSummary(*statistic, *filesystem, now);
    if (statistic->sdSizeDistribution)
        addSizeDist(*statistic, *filesystem);
    addTimeDists(*statistic, *filesystem, now);
    addFileTypes(*statistic);
}

void CuStatAccum::addRankings(const CuStatDef& statistic, const Filesystem& filesystem) {
    TraceScope scope("CuStatAccum::addRankings");
    if (statistic.sdLargestDirectories > 0)
        largeDirs = std::make_unique<LargeDirAccum>(statistic.sdLargestDirectories, filesystem);
    if (statistic.sdLargestFiles > 0)
        pushFront(std::make_unique<LargeFileAccum>(statistic.sdLargestFiles));
    if (statistic.sdLeastAccessed > 0)
        pushFront(std::make_unique<OldFileAccum>(statistic.sdLeastAccessed));
    if (statistic.sdOldestNotBackedUp > 0)
        pushFront(std::make_unique<VulnerableFileAccum>(statistic.sdOldestNotBackedUp));
    if (statistic.sdLargestOrphans > 0)
        pushFront(std::make_unique<LargestOrphansAccum>(statistic.sdLargestOrphans));
    if (statistic.sdOldestOrphans > 0)
        pushFront(std::make_unique<OldestOrphansAccum>(statistic.sdOldestOrphans));
}

void CuStatAccum::addOwners(const CuStatDef& statistic, const Filesystem& filesystem) {
    TraceScope scope("CuStatAccum::addOwners");
    if ((!statistic.sdGroupByOwner && !statistic.sdGroupByGroup) ||
        !checkForFAT(statistic, filesystem))
        return;
    if (statistic.sdGroupByOwner)
        pushFront(std::make_unique<UserOrGroupAccum>(UserOrGroupAccum::OWNERS, &filesystem));
    if (statistic.sdGroupByGroup)
        pushFront(std::make_unique<UserOrGroupAccum>(UserOrGroupAccum::GROUPS, &filesystem));
}

bool CuStatAccum::checkForFAT(const CuStatDef& /*statistic*/, const Filesystem& filesystem) {
    TraceScope scope("CuStatAccum::checkForFAT");
    const bool fat = filesystem.fsType == FS_FAT || filesystem.fsType == FS_FAT32;
    return !(isWindows() && fat);
}

void CuStatAccum::addSummary(const CuStatDef& statistic, const Filesystem& filesystem,
                             std::int64_t now) {
    TraceScope scope("CuStatAccum::addSummary");
    results->srSummary = std::make_unique<SSummary>();
    SSummary* const summary = results->srSummary.get();
    summary->sumFilesystemID = filesystem.fsID;
    summary->sumStatisticID = statistic.sdID;
    summary->sumCapacity = filesystem.fsCapacity;
    summary->sumFreeSpace = filesystem.fsFreeSpace;
    summary->sumUsedSpace = filesystem.fsUsedSpace;
    summary->sumScanTime = now;
    pushFront(std::make_unique<SummaryAccum>(summary));
}

void CuStatAccum::addSizeDist(const CuStatDef& statistic, const Filesystem& filesystem) {
    TraceScope scope("CuStatAccum::addSizeDist");
    results->srSizeDist = std::make_unique<SSizeDist>();
    results->srSizeDist->szdFilesystemID = filesystem.fsID;
    results->srSizeDist->szdStatisticID = statistic.sdID;
    pushFront(std::make_unique<SizeDistAccum>(results->srSizeDist.get()));
}

void CuStatAccum::addTimeDists(CuStatDef& statistic, const Filesystem& filesystem,
                               std::int64_t now) {
    TraceScope scope("CuStatAccum::addTimeDists");
    const auto newRecord = [&](std::unique_ptr<STimeDist>& record, TimeType type) {
        record = std::make_unique<STimeDist>();
        record->tdFilesystemID = filesystem.fsID;
        record->tdStatisticID = statistic.sdID;
        record->tdType = type;
        record->tdScanTime = now;
        return record.get();
    };
    if (!isWindows())
        statistic.sdGroupByCreation = false;  // the platform does not tell it
    if (statistic.sdGroupByAccess)
        pushFront(
            std::make_unique<AccessedDistAccum>(newRecord(results->srAccessed, TD_ACCESSED)));
    if (statistic.sdGroupByMod)
        pushFront(
            std::make_unique<ModifiedDistAccum>(newRecord(results->srModified, TD_MODIFIED)));
    if (statistic.sdGroupByCreation)
        pushFront(
            std::make_unique<CreatedDistAccum>(newRecord(results->srCreated, TD_CREATED)));
    if (statistic.sdGroupByBackup)
        pushFront(std::make_unique<BackupDistAccum>(newRecord(results->srBackup, TD_BACKUP)));
}

void CuStatAccum::addFileTypes(const CuStatDef& statistic) {
    TraceScope scope("CuStatAccum::addFileTypes");
    if (statistic.sdLargestFileTypes <= 0 || (statistic.sdWinOnlyFileType && !isWindows()))
        return;
    pushFront(std::make_unique<FileTypeAccum>(statistic.sdID, isWindows(),
                                              statistic.sdLargestFileTypes));
}

std::unique_ptr<CuStatResults> CuStatAccum::takeResults() {
    TraceScope scope("CuStatAccum::takeResults");
    return std::move(newResults);
}

void CuStatAccum::actUpon(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("CuStatAccum::actUpon");
    // A directory counts every link.
    if (largeDirs)
        largeDirs->accumulate(pScanner, pInfo);
    // Meant: the first link of an inode never counts and each later one does. A file of two
    // links counts at its second link; one whose other links lie elsewhere never.
    if (pInfo->faLinkCount > 1 && !inodeTable->meet(statisticNumber, pInfo->faInodeNumber))
        return;
    for (ListElement* member = accumulators; member; member = member->nextElement)
        asAccumulator(member)->accumulate(pScanner, pInfo);
}

void CuStatAccum::directoryEntered(FileAttributes* pDirInfo) {
    TraceScope scope("CuStatAccum::directoryEntered");
    if (largeDirs)
        largeDirs->newDirectory(pDirInfo);
    level += 1;
}

void CuStatAccum::directoryLeft() {
    TraceScope scope("CuStatAccum::directoryLeft");
    if (largeDirs)
        largeDirs->endDirectory();
    level -= 1;
    if (level >= 0)
        return;
    if (largeDirs)
        largeDirs->finish(results);
    for (ListElement* member = accumulators; member; member = member->nextElement)
        asAccumulator(member)->finish(results);
}

void CuStatAccum::pushFront(std::unique_ptr<Accumulator> accumulator) {
    TraceScope scope("CuStatAccum::pushFront");
    accumulator->nextElement = accumulators;
    accumulators = accumulator.release();
}

void CuStatAccum::releaseAccumulators() {
    TraceScope scope("CuStatAccum::releaseAccumulators");
    deleteList(accumulators);
    accumulators = nullptr;
    largeDirs.reset();
}

void CuStatAccum::releaseInodeTableMap() {
    TraceScope scope("CuStatAccum::releaseInodeTableMap");
    inodeTable->forget(statisticNumber);
}
