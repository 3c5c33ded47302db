#include "Probe/NasFiler.h"

#include <array>
#include <climits>
#include <strings.h>
#include <unistd.h>

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Common/InetAddress.h"
#include "Probe/Filesystem.h"
#include "Probe/filerRows.h"
#include "common/ut/TraceScope.h"

namespace {

template <auto field>
constexpr Column<NasFiler> numberColumn(const char* name) {
    return {name, readNumber<field>, writeNumber<field>};
}

template <auto field>
constexpr Column<NasFiler> textColumn(const char* name) {
    return {name, readText<field>, writeText<field>};
}

// Meant: the name space is read under another name than it is written.
constexpr Column<NasFiler> kColumns[] = {
    textColumn<&NasFiler::nfAlias>("nfAlias"),
    textColumn<&NasFiler::nfCIMOM>("nfCIMOM"),
    numberColumn<&NasFiler::nfComputerID>("nfComputerID"),
    textColumn<&NasFiler::nfIPAddress>("nfIPAddress"),
    textColumn<&NasFiler::nfManufacturer>("nfManufacturer"),
    textColumn<&NasFiler::nfName>("nfName"),
    numberColumn<&NasFiler::nfNameFormat>("nfNameFormat"),
    {"nfnameSpace", nullptr,                          writeText<&NasFiler::nfNameSpace>},
    numberColumn<&NasFiler::nfOSType>("nfOSType"),
    numberColumn<&NasFiler::nfVersion>("nfVersion"),
    textColumn<&NasFiler::nfNetworkName>("nfNetworkName"),
    {"nfNameSpace", readText<&NasFiler::nfNameSpace>, nullptr                          },
};

/// The domain in the full name of this host; empty if the name has none.
std::string domainOfHost() {
    TraceScope scope("domainOfHost");
    std::array<char, HOST_NAME_MAX + 1> host{};
    if (gethostname(host.data(), host.size() - 1) != 0)
        return {};
    const std::string name = InetAddress(host.data()).getCanonicalHostName();
    const std::size_t dot = name.find('.');
    return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

}  // namespace

NasFiler::NasFiler() = default;

NasFiler::~NasFiler() = default;

void NasFiler::initializeObject(const Row& header, const Table& rows) {
    TraceScope scope("NasFiler::initializeObject");
    readFilerRows(*this, kColumns, header, rows, "NasFiler::initializeObject");
    for (const Column<NasFiler>& column : kColumns) {
        if (column.write)
            trTrace(naMin, "%s = %s\n", column.name, column.write(*this).c_str());
    }
}

void NasFiler::printHeader(GenericPrint& out) {
    TraceScope scope("NasFiler::printHeader");
    out.headerRow(columnNames(kColumns));
}

void NasFiler::printData(GenericPrint& out) const {
    TraceScope scope("NasFiler::printData");
    out.startEntity(entity::NasFiler);
    out.row(columnValues(kColumns, *this));
    out.endEntity(entity::NasFiler);
}

std::string NasFiler::filerDomain() const {
    TraceScope scope("NasFiler::filerDomain");
    return domains.empty() ? std::string() : domains.front()->domName;
}

std::string NasFiler::networkName() const {
    TraceScope scope("NasFiler::networkName");
    const bool isNear = strcasecmp(filerDomain().c_str(), domainOfHost().c_str()) == 0;
    return isNear ? nfNetworkName : nfName;
}
