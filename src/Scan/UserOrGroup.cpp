#include "Scan/UserOrGroup.h"

#include "Common/EntityColumns.h"
#include "Common/GenericPrint.h"
#include "Probe/Domain.h"
#include "common/ut/TraceScope.h"

namespace {

/// The bytes of the name as decimal numbers.
std::string writeNameBytes(const UserOrGroup& object) {
    std::string cell;
    for (const char byte : object.ugName) {
        if (!cell.empty())
            cell += ',';
        cell += std::to_string(static_cast<unsigned char>(byte));
    }
    return cell;
}

constexpr Column<UserOrGroup> kColumns[] = {
    {"ugID",              nullptr, writeNumber<&UserOrGroup::ugID>             },
    {"ugGroupID",         nullptr, writeNumber<&UserOrGroup::ugGroupID>        },
    {"ugName",            nullptr, writeText<&UserOrGroup::ugName>             },
    {"ugDescription",     nullptr, writeText<&UserOrGroup::ugDescription>      },
    {"ugDomainID",        nullptr, writeNumber<&UserOrGroup::ugDomainID>       },
    {"ugRemoved",         nullptr, writeNumber<&UserOrGroup::ugRemoved>        },
    {"ugComputerID",      nullptr, writeNumber<&UserOrGroup::ugComputerID>     },
    {"ugNameBytes",       nullptr, writeNameBytes                              },
    {"ugType",            nullptr, writeNumber<&UserOrGroup::ugType>           },
    {"ugUserOrGroupType", nullptr, writeNumber<&UserOrGroup::ugUserOrGroupType>},
};

}  // namespace

void UserOrGroup::inititializeObject(const Row& /*header*/, const Table& /*rows*/) {
    TraceScope scope("UserOrGroup::inititializeObject");
}

void UserOrGroup::printHeader(GenericPrint& out) {
    TraceScope scope("UserOrGroup::printHeader");
    out.headerRow(columnNames(kColumns));
}

void UserOrGroup::printData(GenericPrint& out, const char* entityName) const {
    TraceScope scope("UserOrGroup::printData");
    out.startEntity(entityName);
    out.row(columnValues(kColumns, *this));
    if (domain)
        domain->printData(out);
    out.endEntity(entityName);
}

std::string UserOrGroup::fullyQualifiedName() const {
    TraceScope scope("UserOrGroup::fullyQualifiedName");
    if (!domain || domain->domName.empty()) {
        trTrace(naMin, "WARNING: no domain name for %s\n", ugName.c_str());
        return ugName;
    }
    return ugName + "@" + domain->domName;
}
