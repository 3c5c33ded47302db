#include "Scan/AccessedDistAccum.h"

#include "Scan/FileAttributes.h"
#include "common/ut/TraceScope.h"

std::int64_t AccessedDistAccum::time(FileAttributes* pInfo) const {
    TraceScope scope("AccessedDistAccum::time");
    if (!pInfo) {
        trTrace(naMin,
                "AccessedDistAccum::time() : ERROR: The parameter reference FileAttributes "
                "<pInfo> is NULL.");
        throwMissingFile(false);
    }
    return pInfo->faAccessed;
}
