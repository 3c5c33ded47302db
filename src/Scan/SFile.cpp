#include "Scan/SFile.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<SFile> kColumns[] = {
    {"sfFilesystemID", nullptr, writeNumber<&SFile::sfFilesystemID>},
    {"sfStatisticID",  nullptr, writeNumber<&SFile::sfStatisticID> },
    {"sfStatType",     nullptr, writeNumber<&SFile::sfStatType>    },
};

}  // namespace

Row SFile::columnNames() {
    TraceScope scope("SFile::columnNames");
    return joinedRows(FileAttributes::columnNames(), ::columnNames(kColumns));
}

void SFile::printHeader(GenericPrint& out) {
    TraceScope scope("SFile::printHeader");
    out.headerRow(columnNames());
}

void SFile::printData(GenericPrint& out) const {
    TraceScope scope("SFile::printData");
    out.startEntity(entity::SFile);
    out.row(joinedRows(FileAttributes::columnValues(), ::columnValues(kColumns, *this)));
    printIdentities(out);
    out.endEntity(entity::SFile);
}
