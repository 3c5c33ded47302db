#include "Scan/CuStatResults.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<CuStatResults> kColumns[] = {
    {"srID", nullptr, writeNumber<&CuStatResults::srID>},
};

}  // namespace

void CuStatResults::printHeader(GenericPrint& out) {
    TraceScope scope("CuStatResults::printHeader");
    out.headerRow(columnNames(kColumns));
}

void CuStatResults::printData(GenericPrint& out) const {
    TraceScope scope("CuStatResults::printData");
    out.startEntity(entity::CuStatResults);
    out.row(columnValues(kColumns, *this));
    if (srSummary)
        srSummary->printData(out);
    out.endEntity(entity::CuStatResults);
}
