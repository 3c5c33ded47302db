#include "Scan/STimeDist.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<STimeDist> kColumns[] = {
    {"tdFilesystemID", nullptr, writeNumber<&STimeDist::tdFilesystemID>},
    {"tdStatisticID",  nullptr, writeNumber<&STimeDist::tdStatisticID> },
    {"tdType",         nullptr, writeNumber<&STimeDist::tdType>        },
    {"tdScanTime",     nullptr, writeNumber<&STimeDist::tdScanTime>    },
    {"tdAverageAge",   nullptr, writeNumber<&STimeDist::tdAverageAge>  },
    {"tdAccumCount",   nullptr, writeNumber<&STimeDist::tdAccumCount>  },
    {"tdHistType",     nullptr, writeNumber<&STimeDist::tdHistType>    },
    {"tdSizes",        nullptr, writeNumbers<&STimeDist::tdSizes>      },
    {"tdCounts",       nullptr, writeNumbers<&STimeDist::tdCounts>     },
};

}  // namespace

void STimeDist::printHeader(GenericPrint& out) {
    TraceScope scope("STimeDist::printHeader");
    out.headerRow(columnNames(kColumns));
}

void STimeDist::printData(GenericPrint& out) const {
    TraceScope scope("STimeDist::printData");
    out.startEntity(entity::STimeDist);
    out.row(columnValues(kColumns, *this));
    out.endEntity(entity::STimeDist);
}
