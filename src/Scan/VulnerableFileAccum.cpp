#include "Scan/VulnerableFileAccum.h"

#include "Scan/CuStatResults.h"
#include "common/ut/TraceScope.h"

void VulnerableFileAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("VulnerableFileAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    if ((pInfo->faAttributes & FA_ARCHIVE) != 0 && pInfo->faType != FA_DIRECTORY)
        add(pScanner, pInfo, oldestFirst(pInfo->faModified), ST_NOT_BACKED_UP);
}

void VulnerableFileAccum::setResults(CuStatResults* results, SFileList list) {
    TraceScope scope("VulnerableFileAccum::setResults");
    results->srOldestNotBackedUp = std::move(list);
}
