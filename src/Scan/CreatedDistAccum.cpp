#include "Scan/CreatedDistAccum.h"

#include "Scan/FileAttributes.h"
#include "common/ut/TraceScope.h"

std::int64_t CreatedDistAccum::time(FileAttributes* pInfo) const {
    TraceScope scope("CreatedDistAccum::time");
    if (!pInfo)
        throwMissingFile(true);
    return pInfo->faCreated;
}
