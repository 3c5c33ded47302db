#include "Scan/MonDirSpec.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"

namespace {

void readMasked(MonDirSpec& dirSpec, const std::string& value) {
    if (value == "Y" || value == "y")
        dirSpec.mdsMaskedPath = true;
    else if (value == "N" || value == "n")
        dirSpec.mdsMaskedPath = false;
}

constexpr Column<MonDirSpec> kColumns[] = {
    {"mdsID",         readNumber<&MonDirSpec::mdsID>,         writeNumber<&MonDirSpec::mdsID>     },
    {"mdsGroupID",    readNumber<&MonDirSpec::mdsGroupID>,    writeNumber<&MonDirSpec::mdsGroupID>},
    {"mdsComputerID", readNumber<&MonDirSpec::mdsComputerID>,
     writeNumber<&MonDirSpec::mdsComputerID>                                                      },
    {"mdsPath",       readText<&MonDirSpec::mdsPath>,         writeText<&MonDirSpec::mdsPath>     },
    {"mdsMaskedPath", readMasked,                             writeBit<&MonDirSpec::mdsMaskedPath>},
};

}  // namespace

void MonDirSpec::inititializeObject(const Row& header, const Table& rows) {
    TraceScope scope("MonDirSpec::inititializeObject");
    readRows(*this, kColumns, header, rows,
             "ERROR: innerArray.size() != refHeaderArray.size(). VexObjectCreationException "
             "will be thrown.");
}

void MonDirSpec::printHeader(GenericPrint& out) {
    TraceScope scope("MonDirSpec::printHeader");
    out.headerRow(columnNames(kColumns));
}

void MonDirSpec::printData(GenericPrint& out, bool bracket) const {
    TraceScope scope("MonDirSpec::printData");
    if (bracket)
        out.startEntity(entity::MonDirSpec);
    out.row(columnValues(kColumns, *this));
    if (bracket)
        out.endEntity(entity::MonDirSpec);
}

void MonDirSpec::setDirectories(MonDirSpec* nextSpec) {
    TraceScope scope("MonDirSpec::setDirectories");
    if (!nextSpec)
        trTrace(naMin, "WARNING: Set local MonDirSpec reference <mdsNext> to NULL.");
    mdsNext = nextSpec;
}
