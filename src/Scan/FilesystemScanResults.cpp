/// The end of a walk and of a scan: writing the results of a file system, undoing one that
/// failed, and clearing up.

#include <algorithm>

#include "Probe/Filesystem.h"
#include "Scan/AgentScan.h"
#include "Scan/CuStatDef.h"
#include "Scan/CuStatResults.h"
#include "Scan/DirectoryReader.h"
#include "Scan/FilesystemScan.h"
#include "Scan/MonDirSpec.h"
#include "Scan/ResultsByFS.h"
#include "Scan/UberTable.h"
#include "Scan/unix/UnixUserTable.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::int32_t kWithoutSummary = 4;  // least code of such a file system

/// The members of a list from its back to its front, which is the order of binding.
std::vector<ListElement*> inBindingOrder(ListElement* head) {
    std::vector<ListElement*> members;
    for (; head; head = head->nextElement)
        members.push_back(head);
    std::reverse(members.begin(), members.end());
    return members;
}

}  // namespace

/// The built-in statistic shows the space figures of the file system.
void FilesystemScan::completeSummary(const FSRef& fsRef) {
    TraceScope scope("FilesystemScan::completeSummary");
    const CuStatResults* const results =
        fsRef.summaryResults ? fsRef.summaryResults->rfResults : nullptr;
    if (!results || !results->srSummary) {
        runningCode = std::max(runningCode, kWithoutSummary);
        return;
    }
    results->srSummary->sumCapacity = fsRef.filesystem->fsCapacity;
    results->srSummary->sumFreeSpace = fsRef.filesystem->fsFreeSpace;
    results->srSummary->sumUsedSpace = fsRef.filesystem->fsUsedSpace;
}

void FilesystemScan::printData(const FSRef& fsRef) {
    TraceScope scope("FilesystemScan::printData");
    GenericPrint& out = *genericPrint;
    const std::int32_t fsID = fsRef.filesystem->fsID;
    fsRef.filesystem->printData(out, false);

    const std::vector<ListElement*> members = inBindingOrder(fsRef.associations);
    for (ListElement* const member : members) {
        if (const auto* const selection = dynamic_cast<MonDirSelection*>(member))
            selection->dirSpec->printData(out);
    }
    // Directory statistics hang on each depth alike; the first selection tells of all.
    const MonDirSelection* first = nullptr;
    for (ListElement* const member : members) {
        if (const auto* const assoc = dynamic_cast<Assoc*>(member))
            assoc->tree->statistic->printData(out, fsID);
        const auto* const selection = dynamic_cast<MonDirSelection*>(member);
        if (first || !selection)
            continue;
        first = selection;
        for (ListElement* const place : inBindingOrder(selection->associations))
            static_cast<Assoc*>(place)->tree->statistic->printData(out, fsID);
    }
    for (CuStatDef* statistic = scanObject->getStatistics(); statistic;
         statistic = statistic->sdNext)
        statistic->releaseDirectories(fsID);
}

/// Undoes a failed file system. A statistic goes with it if this took its last results.
void FilesystemScan::removeReferencesTo(const Filesystem* filesystem) {
    TraceScope scope("FilesystemScan::removeReferencesTo");
    CuStatDef* next = nullptr;
    for (CuStatDef* statistic = scanObject->getStatistics(); statistic; statistic = next) {
        next = statistic->sdNext;
        ResultsByFS** link = &statistic->sdResults;
        while (*link && (*link)->filesystem() != filesystem)
            link = &(*link)->nextResultsByFS;
        ResultsByFS* const found = *link;
        if (!found)
            continue;
        *link = found->nextResultsByFS;
        found->nextResultsByFS = nullptr;
        parkedResults.emplace_back(found);
        if (statistic->sdResults)
            continue;

        if (next)
            next->sdPrev = statistic->sdPrev;
        if (statistic->sdPrev)
            statistic->sdPrev->sdNext = next;
        else
            scanObject->setStatistics(next);
        statistic->sdNext = statistic->sdPrev = nullptr;
        parkedStatistics.emplace_back(statistic);
    }
}

void FilesystemScan::unlockOne(const Filesystem* filesystem) {
    TraceScope scope("FilesystemScan::unlockOne");
    if (!filesystem) {
        trTrace(naMin,
                "ERROR: The Filesystem reference <pFilesystem> is NULL. Leaving method.");
        return;
    }
    lockedFilesystems.erase(filesystem->fsID);
}

void FilesystemScan::clearUp() {
    TraceScope scope("FilesystemScan::clearUp");
    deleteList(fsAnchor);
    fsAnchor = lastFSRef = nullptr;
    deleteList(trees);
    trees = nullptr;
    for (const MonDirSpec* dirSpec = scanObject->getDirectories(); dirSpec;
         dirSpec = dirSpec->getDirectories())
        trTrace(
            naMin,
            "for(dirSpec = scanObject->asDirectories; dirSpec != NULL; dirSpec->mdsNext)...");
    parkedResults.clear();
    parkedStatistics.clear();
    factory.reset();
    userTable.reset();
    uberTable.reset();
    fileTypeMap.clear();
    // A placeholder's figures do not reach later stages.
    for (Filesystem* const filesystem : fakeFilesystems) {
        filesystem->fsType = FS_FAKE;
        filesystem->fsPhysicalSize = filesystem->fsCapacity = 0;
        filesystem->fsUsedSpace = filesystem->fsFreeSpace = 0;
        filesystem->fsMaxFiles = 0;
        filesystem->fsUsedInodes = filesystem->fsFreeInodes = 0;
    }
    sortFilesystemsByID(scanObject);
}
