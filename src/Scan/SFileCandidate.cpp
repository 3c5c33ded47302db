#include "Scan/SFileCandidate.h"

#include "Common/EntityColumns.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

void SFileCandidate::printHeader(GenericPrint& out) {
    TraceScope scope("SFileCandidate::printHeader");
    out.headerRow(joinedRows(SFile::columnNames(), {"sfHSMScore"}));
}
