#include "Scan/SUserOrGroup.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Scan/UserOrGroup.h"
#include "common/ut/TraceScope.h"

namespace {

// Meant: three columns stand twice; readers of the file expect them so.
constexpr Column<SUserOrGroup> kColumns[] = {
    {"sugFilesystemID",   nullptr, writeNumber<&SUserOrGroup::sugFilesystemID>  },
    {"sugStatisticID",    nullptr, writeNumber<&SUserOrGroup::sugStatisticID>   },
    {"sugFileCount",      nullptr, writeNumber<&SUserOrGroup::sugFileCount>     },
    {"sugTotalSize",      nullptr, writeNumber<&SUserOrGroup::sugTotalSize>     },
    {"sugTimestamp",      nullptr, writeNumber<&SUserOrGroup::sugTimestamp>     },
    {"sugAccumCount",     nullptr, writeNumber<&SUserOrGroup::sugAccumCount>    },
    {"sugType",           nullptr, writeNumber<&SUserOrGroup::sugType>          },
    {"sugDirectoryCount", nullptr, writeNumber<&SUserOrGroup::sugDirectoryCount>},
    {"sugOtherCount",     nullptr, writeNumber<&SUserOrGroup::sugOtherCount>    },
    {"sugUnusedSpace",    nullptr, writeNumber<&SUserOrGroup::sugUnusedSpace>   },
    {"sugLargestSize",    nullptr, writeNumber<&SUserOrGroup::sugLargestSize>   },
    {"sug2ndLargestSize", nullptr, writeNumber<&SUserOrGroup::sug2ndLargestSize>},
    {"sugTimestamp",      nullptr, writeNumber<&SUserOrGroup::sugTimestamp>     },
    {"sugAccumCount",     nullptr, writeNumber<&SUserOrGroup::sugAccumCount>    },
    {"sugType",           nullptr, writeNumber<&SUserOrGroup::sugType>          },
    {"sugSizes",          nullptr, writeNumbers<&SUserOrGroup::sugSizes>        },
    {"sugCounts",         nullptr, writeNumbers<&SUserOrGroup::sugCounts>       },
};

}  // namespace

void SUserOrGroup::printHeader(GenericPrint& out) {
    TraceScope scope("SUserOrGroup::printHeader");
    out.headerRow(columnNames(kColumns));
}

void SUserOrGroup::printData(GenericPrint& out) const {
    TraceScope scope("SUserOrGroup::printData");
    out.startEntity(entity::SUserOrGroup);
    out.row(columnValues(kColumns, *this));
    if (sugIdentity)
        sugIdentity->printData(out, entity::UserOrGroup);
    out.endEntity(entity::SUserOrGroup);
}
