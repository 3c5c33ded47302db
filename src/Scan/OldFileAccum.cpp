#include "Scan/OldFileAccum.h"

#include "Scan/CuStatResults.h"
#include "common/ut/TraceScope.h"

void OldFileAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("OldFileAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    add(pScanner, pInfo, oldestFirst(pInfo->faAccessed), ST_LEAST_ACCESSED);
}

void OldFileAccum::setResults(CuStatResults* results, SFileList list) {
    TraceScope scope("OldFileAccum::setResults");
    results->srLeastAccessed = std::move(list);
}
