#include "Scan/SDirectory.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<SDirectory> kColumns[] = {
    {"dirFilesystemID",   nullptr, writeNumber<&SDirectory::dirFilesystemID>  },
    {"dirStatisticID",    nullptr, writeNumber<&SDirectory::dirStatisticID>   },
    {"dirFileCount",      nullptr, writeNumber<&SDirectory::dirFileCount>     },
    {"dirDirectoryCount", nullptr, writeNumber<&SDirectory::dirDirectoryCount>},
    {"dirTotalSize",      nullptr, writeNumber<&SDirectory::dirTotalSize>     },
    {"dirLargestSize",    nullptr, writeNumber<&SDirectory::dirLargestSize>   },
    {"dir2ndLargestSize", nullptr, writeNumber<&SDirectory::dir2ndLargestSize>},
    {"dirSizes",          nullptr, writeNumbers<&SDirectory::dirSizes>        },
    {"dirCounts",         nullptr, writeNumbers<&SDirectory::dirCounts>       },
};

}  // namespace

void SDirectory::printHeader(GenericPrint& out) {
    TraceScope scope("SDirectory::printHeader");
    out.headerRow(joinedRows(FileAttributes::columnNames(), ::columnNames(kColumns)));
}

void SDirectory::printData(GenericPrint& out) const {
    TraceScope scope("SDirectory::printData");
    out.startEntity(entity::SDirectory);
    out.row(joinedRows(FileAttributes::columnValues(), ::columnValues(kColumns, *this)));
    printIdentities(out);
    out.endEntity(entity::SDirectory);
}
