#include "Probe/NasFiler.h"

#include "Probe/Filesystem.h"
#include "Probe/filerRows.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<NasFiler> kColumns[] = {
    {"nfAlias",        readText<&NasFiler::nfAlias>,        nullptr},
    {"nfCIMOM",        readText<&NasFiler::nfCIMOM>,        nullptr},
    {"nfComputerID",   readNumber<&NasFiler::nfComputerID>, nullptr},
    {"nfIPAddress",    readText<&NasFiler::nfIPAddress>,    nullptr},
    {"nfManufacturer", readText<&NasFiler::nfManufacturer>, nullptr},
    {"nfName",         readText<&NasFiler::nfName>,         nullptr},
    {"nfNameFormat",   readNumber<&NasFiler::nfNameFormat>, nullptr},
    {"nfNameSpace",    readText<&NasFiler::nfNameSpace>,    nullptr},
    {"nfOSType",       readNumber<&NasFiler::nfOSType>,     nullptr},
    {"nfVersion",      readNumber<&NasFiler::nfVersion>,    nullptr},
    {"nfNetworkName",  readText<&NasFiler::nfNetworkName>,  nullptr},
};

}  // namespace

NasFiler::NasFiler() = default;

NasFiler::~NasFiler() = default;

void NasFiler::initializeObject(const Row& header, const Table& rows) {
    TraceScope scope("NasFiler::initializeObject");
    readFilerRows(*this, kColumns, header, rows, "NasFiler::initializeObject");
}
