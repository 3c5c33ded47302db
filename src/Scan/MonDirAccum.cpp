#include "Scan/MonDirAccum.h"

#include "Probe/Filesystem.h"
#include "Scan/CuStatDef.h"
#include "Scan/CuStatResults.h"
#include "Scan/ResultsByFS.h"
#include "Scan/SMonDir.h"
#include "common/ut/TraceScope.h"

// Each has a table of inodes of its own, for it forgets what it met with every directory.
MonDirAccum::MonDirAccum(CuStatDef* directoryStatistic, Filesystem* where, MonDirAccum* next)
    : CuStatAccum("MonDirAccum", std::make_shared<InodeTable>()),
      filesystem(where),
      statistic(directoryStatistic),
      nextTarget(next) {
    TraceScope scope("MonDirAccum::MonDirAccum");
}

void MonDirAccum::setDirectory(std::shared_ptr<SMonDir> pDirectory) {
    TraceScope scope("MonDirAccum::setDirectory");
    if (!pDirectory) {
        trTrace(naMin, "WARNING: The parameter SMonDir <pDirectory> is NULL.");
        return;
    }
    directory = std::move(pDirectory);
    buildAccum(statistic, filesystem);
}

SMonDir* MonDirAccum::directoryFor(const std::string& name) {
    TraceScope scope("MonDirAccum::directoryFor");
    if (directory && getLevel() < 0 && directory->faName != name)
        directory.reset();
    return directory.get();
}

void MonDirAccum::actUpon(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("MonDirAccum::actUpon");
    if (!isIdle())
        CuStatAccum::actUpon(pScanner, pInfo);
}

void MonDirAccum::directoryEntered(FileAttributes* pDirInfo) {
    TraceScope scope("MonDirAccum::directoryEntered");
    if (!directoryFor(pDirInfo->faName)) {
        static_cast<void>(isIdle());
        return;
    }
    CuStatAccum::directoryEntered(pDirInfo);
    // The first of the chain does this for all.
    if (getLevel() == 0 && directory->smFilesystemID == SMonDir::kNotEntered)
        directory->enter(*pDirInfo, filesystem->fsID);
}

void MonDirAccum::directoryLeft() {
    TraceScope scope("MonDirAccum::directoryLeft");
    if (isIdle())
        return;
    if (getLevel() < 0) {
        directory.reset();  // never entered: what is left here is its parent
        return;
    }
    CuStatAccum::directoryLeft();
    if (getLevel() < 0)
        publish();
}

bool MonDirAccum::isIdle() const {
    if (!directory)
        trTrace(naMid, "WARNING: No method invoked, since <directory> is NULL.");
    return !directory;
}

/// Hands the results to the statistic, in front of those of earlier directories.
void MonDirAccum::publish() {
    TraceScope scope("MonDirAccum::publish");
    auto found = std::make_unique<ResultsByFS>();
    found->keepDirectory(*takeResults(), *directory);
    directory.reset();
    found->nextResultsByFS = statistic->sdResults;
    statistic->sdResults = found.release();
    releaseInodeTableMap();
}
