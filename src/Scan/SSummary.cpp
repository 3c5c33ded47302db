#include "Scan/SSummary.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<SSummary> kColumns[] = {
    {"sumFilesystemID",   nullptr, writeNumber<&SSummary::sumFilesystemID>  },
    {"sumStatisticID",    nullptr, writeNumber<&SSummary::sumStatisticID>   },
    {"sumCapacity",       nullptr, writeNumber<&SSummary::sumCapacity>      },
    {"sumFreeSpace",      nullptr, writeNumber<&SSummary::sumFreeSpace>     },
    {"sumUsedSpace",      nullptr, writeNumber<&SSummary::sumUsedSpace>     },
    {"sumTotalSize",      nullptr, writeNumber<&SSummary::sumTotalSize>     },
    {"sumFileCount",      nullptr, writeNumber<&SSummary::sumFileCount>     },
    {"sumScanTime",       nullptr, writeNumber<&SSummary::sumScanTime>      },
    {"sumAccumCount",     nullptr, writeNumber<&SSummary::sumAccumCount>    },
    {"sumType",           nullptr, writeNumber<&SSummary::sumType>          },
    {"sumDirectoryCount", nullptr, writeNumber<&SSummary::sumDirectoryCount>},
};

}  // namespace

void SSummary::printHeader(GenericPrint& out) {
    TraceScope scope("SSummary::printHeader");
    out.headerRow(columnNames(kColumns));
}

void SSummary::printData(GenericPrint& out) const {
    TraceScope scope("SSummary::printData");
    out.startEntity(entity::SSummary);
    out.row(columnValues(kColumns, *this));
    out.endEntity(entity::SSummary);
}
