#include "Scan/LargestOrphansAccum.h"

#include "Scan/CuStatResults.h"
#include "common/ut/TraceScope.h"

void LargestOrphansAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("LargestOrphansAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    if ((pInfo->faAttributes & FA_ORPHAN) != 0)
        add(pScanner, pInfo, pInfo->faBlocks, ST_LARGEST_ORPHANS);
}

void LargestOrphansAccum::setResults(CuStatResults* results, SFileList list) {
    TraceScope scope("LargestOrphansAccum::setResults");
    results->srLargestOrphans = std::move(list);
}
