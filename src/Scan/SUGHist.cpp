#include "Scan/SUGHist.h"

#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

void SUGHist::printHeader(GenericPrint& out) {
    TraceScope scope("SUGHist::printHeader");
    out.headerRow({"sugFilesystemID", "sugStatisticID", "sugFileCount", "sugTotalSize",
                   "sugTimestamp", "sugAccumCount", "sugType"});
}
