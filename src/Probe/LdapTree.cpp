#include "Probe/LdapTree.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Probe/filerRows.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<LdapTree> kColumns[] = {
    {"ltTreeID",     readNumber<&LdapTree::ltTreeID>,     writeNumber<&LdapTree::ltTreeID>    },
    {"ltComputerID", readNumber<&LdapTree::ltComputerID>, writeNumber<&LdapTree::ltComputerID>},
    {"ltName",       readText<&LdapTree::ltName>,         writeText<&LdapTree::ltName>        },
    {"ltLdapUser",   readText<&LdapTree::ltLdapUser>,     writeText<&LdapTree::ltLdapUser>    },
    {"ltPassword",   readText<&LdapTree::ltPassword>,     writeText<&LdapTree::ltPassword>    },
};

}  // namespace

void LdapTree::initializeObject(const Row& header, const Table& rows) {
    TraceScope scope("LdapTree::initializeObject");
    readFilerRows(*this, kColumns, header, rows, "LdapTree::initializeObject");
}

void LdapTree::printHeader(GenericPrint& out) {
    TraceScope scope("LdapTree::printHeader");
    out.headerRow(columnNames(kColumns));
}

void LdapTree::printData(GenericPrint& out) const {
    TraceScope scope("LdapTree::printData");
    out.startEntity(entity::LdapTree);
    out.row(columnValues(kColumns, *this));
    out.endEntity(entity::LdapTree);
}
