#include "Scan/CuStatAccum.h"

#include "Common/CommonAgent.h"
#include "Common/ComputerID.h"
#include "Common/unix/psnautil.h"
#include "Probe/Filesystem.h"
#include "Scan/CuStatDef.h"
#include "Scan/CuStatResults.h"
#include "Scan/FileAttributes.h"
#include "Scan/SummaryAccum.h"
#include "common/ut/TraceScope.h"

namespace {

/// The accumulators of a list, for a loop.
Accumulator* asAccumulator(ListElement* member) {
    return static_cast<Accumulator*>(member);
}

}  // namespace

CuStatAccum::~CuStatAccum() {
    TraceScope scope("CuStatAccum::~CuStatAccum");
    releaseInodeTableMap();
    releaseAccumulators();
}

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
    if (statistic->sdSummary)
        addSummary(*statistic, *filesystem, now);
    // Creation times are known on Windows only.
    if (!CommonAgentFactory::getCommonAgent()->isWindows)
        statistic->sdGroupByCreation = false;
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

std::unique_ptr<CuStatResults> CuStatAccum::takeResults() {
    TraceScope scope("CuStatAccum::takeResults");
    return std::move(newResults);
}

void CuStatAccum::actUpon(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("CuStatAccum::actUpon");
    // Meant: the first link of an inode never counts and each later one does. A file of two
    // links counts at its second link; one whose other links lie elsewhere never.
    if (pInfo->faLinkCount > 1 && inodeTable.insert(pInfo->faInodeNumber).second)
        return;
    for (ListElement* member = accumulators; member; member = member->nextElement)
        asAccumulator(member)->accumulate(pScanner, pInfo);
}

void CuStatAccum::directoryEntered(FileAttributes* /*pDirInfo*/) {
    TraceScope scope("CuStatAccum::directoryEntered");
    level += 1;
}

void CuStatAccum::directoryLeft() {
    TraceScope scope("CuStatAccum::directoryLeft");
    level -= 1;
    if (level >= 0)
        return;
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
}

void CuStatAccum::releaseInodeTableMap() {
    TraceScope scope("CuStatAccum::releaseInodeTableMap");
    inodeTable.clear();
}
