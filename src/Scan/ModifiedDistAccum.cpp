#include "Scan/ModifiedDistAccum.h"

#include "Scan/FileAttributes.h"
#include "common/ut/TraceScope.h"

std::int64_t ModifiedDistAccum::time(FileAttributes* pInfo) const {
    TraceScope scope("ModifiedDistAccum::time");
    if (!pInfo)
        throwMissingFile(true);
    return pInfo->faModified;
}
