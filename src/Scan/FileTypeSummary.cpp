#include "Scan/FileTypeSummary.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<FileTypeSummary> kColumns[] = {
    {"profileID",    nullptr, writeNumber<&FileTypeSummary::profileID>   },
    {"filesystemID", nullptr, writeNumber<&FileTypeSummary::filesystemID>},
    {"fileCount",    nullptr, writeNumber<&FileTypeSummary::fileCount>   },
    {"spaceUsed",    nullptr, writeNumber<&FileTypeSummary::spaceUsed>   },
};

}  // namespace

void FileTypeSummary::printHeader(GenericPrint& out) {
    TraceScope scope("FileTypeSummary::printHeader");
    out.headerRow(columnNames(kColumns));
}

void FileTypeSummary::printData(GenericPrint& out) const {
    TraceScope scope("FileTypeSummary::printData");
    out.startEntity(entity::FileTypeSummary);
    out.row(columnValues(kColumns, *this));
    if (fileType)
        fileType->printData(out);
    out.endEntity(entity::FileTypeSummary);
}
