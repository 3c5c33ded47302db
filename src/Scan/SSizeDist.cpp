#include "Scan/SSizeDist.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<SSizeDist> kColumns[] = {
    {"szdFilesystemID", nullptr, writeNumber<&SSizeDist::szdFilesystemID>},
    {"szdStatisticID",  nullptr, writeNumber<&SSizeDist::szdStatisticID> },
    {"szdSizes",        nullptr, writeNumbers<&SSizeDist::szdSizes>      },
    {"szdCounts",       nullptr, writeNumbers<&SSizeDist::szdCounts>     },
};

}  // namespace

void SSizeDist::inititializeObject(const Row& /*header*/, const Table& /*rows*/) {
    TraceScope scope("SSizeDist::inititializeObject");
}

void SSizeDist::printHeader(GenericPrint& out) {
    TraceScope scope("SSizeDist::printHeader");
    out.headerRow(columnNames(kColumns));
}

void SSizeDist::printData(GenericPrint& out) const {
    TraceScope scope("SSizeDist::printData");
    out.startEntity(entity::SSizeDist);
    out.row(columnValues(kColumns, *this));
    out.endEntity(entity::SSizeDist);
}
