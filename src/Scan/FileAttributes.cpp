#include "Scan/FileAttributes.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Scan/UserOrGroup.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<FileAttributes> kColumns[] = {
    {"faType",        nullptr, writeNumber<&FileAttributes::faType>       },
    {"faName",        nullptr, writeText<&FileAttributes::faName>         },
    {"faCreated",     nullptr, writeNumber<&FileAttributes::faCreated>    },
    {"faModified",    nullptr, writeNumber<&FileAttributes::faModified>   },
    {"faAccessed",    nullptr, writeNumber<&FileAttributes::faAccessed>   },
    {"faBlocks",      nullptr, writeNumber<&FileAttributes::faBlocks>     },
    {"faLength",      nullptr, writeNumber<&FileAttributes::faLength>     },
    {"faAttributes",  nullptr, writeNumber<&FileAttributes::faAttributes> },
    {"faLinkCount",   nullptr, writeNumber<&FileAttributes::faLinkCount>  },
    {"faInodeNumber", nullptr, writeNumber<&FileAttributes::faInodeNumber>},
};

}  // namespace

Row FileAttributes::columnNames() {
    TraceScope scope("FileAttributes::columnNames");
    return ::columnNames(kColumns);
}

Row FileAttributes::columnValues() const {
    TraceScope scope("FileAttributes::columnValues");
    return ::columnValues(kColumns, *this);
}

void FileAttributes::printIdentities(GenericPrint& out) const {
    TraceScope scope("FileAttributes::printIdentities");
    if (faOwner)
        faOwner->printData(out, entity::UserOrGroupUser);
    if (faGroup)
        faGroup->printData(out, entity::UserOrGroupGroup);
}
