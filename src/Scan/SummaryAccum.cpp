#include "Scan/SummaryAccum.h"

#include "Scan/CuStatResults.h"
#include "Scan/FileAttributes.h"
#include "Scan/SSummary.h"
#include "common/ut/TraceScope.h"
#include "common/ut/wrapAdd.h"

void SummaryAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("SummaryAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    if (pInfo->faType == FA_FILE || pInfo->faType == FA_LINK)
        summary->sumFileCount += 1;
    else if (pInfo->faType == FA_DIRECTORY)
        summary->sumDirectoryCount += 1;
    summary->sumTotalSize = wrapAdd(summary->sumTotalSize, pInfo->faBlocks);
}

void SummaryAccum::finish(CuStatResults* results) {
    TraceScope scope("SummaryAccum::finish");
    if (!results) {
        trTrace(naMin, "ERROR: The parameter CuStatResults <results> is NULL. Leaving method.");
        return;
    }
    if (results->srSummary.get() == summary)
        return;
    trTrace(naMin,
            "WARNING: The references <m_pSSummary> and <results->srSummary> are not equal, but "
            "should be! Copying result values.");
    if (results->srSummary)
        *summary = *results->srSummary;
}
