#include "Scan/BackupDistAccum.h"

#include "Scan/FileAttributes.h"
#include "common/ut/TraceScope.h"

void BackupDistAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("BackupDistAccum::accumulate");
    if (!pScanner || !pInfo) {
        trTrace(naMin,
                "BackupDistAccum::accumulate() : ERROR: At least one of the parameters "
                "<pScanner>, <pInfo> is NULL. Leaving method.");
        return;
    }
    if ((pInfo->faAttributes & FA_ARCHIVE) != 0)
        TimeDistAccum::accumulate(pScanner, pInfo);
}

std::int64_t BackupDistAccum::time(FileAttributes* pInfo) const {
    TraceScope scope("BackupDistAccum::time");
    if (!pInfo) {
        trTrace(naMin, "BackupDistAccum::time() : ERROR: The parameter <pInfo> is NULL.");
        throwMissingFile(true);
    }
    return pInfo->faModified;
}
