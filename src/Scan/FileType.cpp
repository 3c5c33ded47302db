#include "Scan/FileType.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<FileType> kColumns[] = {
    {"fptID",            nullptr, writeNumber<&FileType::fptID>         },
    {"ftpFileExtension", nullptr, writeText<&FileType::ftpFileExtension>},
    {"ftpDescription",   nullptr, writeText<&FileType::ftpDescription>  },
};

}  // namespace

void FileType::printHeader(GenericPrint& out) {
    TraceScope scope("FileType::printHeader");
    out.headerRow(columnNames(kColumns));
}

void FileType::printData(GenericPrint& out) const {
    TraceScope scope("FileType::printData");
    out.startEntity(entity::FileType);
    out.row(columnValues(kColumns, *this));
    out.endEntity(entity::FileType);
}
