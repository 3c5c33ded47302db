#include "Scan/OldestOrphansAccum.h"

#include "Scan/CuStatResults.h"
#include "common/ut/TraceScope.h"

void OldestOrphansAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("OldestOrphansAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    if ((pInfo->faAttributes & FA_ORPHAN) != 0)
        add(pScanner, pInfo, oldestFirst(pInfo->faAccessed), ST_OLDEST_ORPHANS);
}

void OldestOrphansAccum::setResults(CuStatResults* results, SFileList list) {
    TraceScope scope("OldestOrphansAccum::setResults");
    results->srOldestOrphans = std::move(list);
}
