#include "Scan/CuStatResults.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<CuStatResults> kColumns[] = {
    {"srID", nullptr, writeNumber<&CuStatResults::srID>},
};

template <class Record>
void printIfThere(const std::unique_ptr<Record>& record, GenericPrint& out) {
    if (record)
        record->printData(out);
}

}  // namespace

void CuStatResults::printHeader(GenericPrint& out) {
    TraceScope scope("CuStatResults::printHeader");
    out.headerRow(columnNames(kColumns));
}

void CuStatResults::printData(GenericPrint& out) const {
    TraceScope scope("CuStatResults::printData");
    out.startEntity(entity::CuStatResults);
    out.row(columnValues(kColumns, *this));
    srLargestDirectories.printData(out);
    for (const SFileList* const list : {&srLargestFiles, &srLeastAccessed, &srOldestNotBackedUp,
                                        &srLargestOrphans, &srOldestOrphans})
        list->printData(out);
    srFileTypes.printData(out);
    printIfThere(srSummary, out);
    printIfThere(srSizeDist, out);
    printIfThere(srOwners, out);
    printIfThere(srGroups, out);
    for (const auto* const dist : {&srAccessed, &srModified, &srCreated, &srBackup})
        printIfThere(*dist, out);
    out.endEntity(entity::CuStatResults);
}
