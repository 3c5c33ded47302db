#include "Scan/SizeDistAccum.h"

#include "Scan/FileAttributes.h"
#include "Scan/SSizeDist.h"
#include "common/ut/TraceScope.h"
#include "common/ut/wrapAdd.h"

void SizeDistAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("SizeDistAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    const std::size_t range = SizeRanges::bucket(pInfo->faBlocks);
    target->szdSizes[range] = wrapAdd(target->szdSizes[range], pInfo->faBlocks);
    target->szdCounts[range] += 1;
}

void SizeDistAccum::finish(CuStatResults* /*results*/) {
    TraceScope scope("SizeDistAccum::finish");
}
