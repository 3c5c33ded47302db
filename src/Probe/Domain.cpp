#include "Probe/Domain.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Probe/filerRows.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<Domain> kColumns[] = {
    {"domID",     readNumber<&Domain::domID>,     writeNumber<&Domain::domID>    },
    {"domName",   readText<&Domain::domName>,     writeText<&Domain::domName>    },
    {"domTreeID", readNumber<&Domain::domTreeID>, writeNumber<&Domain::domTreeID>},
};

}  // namespace

void Domain::initializeObject(const Row& header, const Table& rows) {
    TraceScope scope("Domain::initializeObject");
    readFilerRows(*this, kColumns, header, rows, "Domain::initializeObject");
}

void Domain::printHeader(GenericPrint& out) {
    TraceScope scope("Domain::printHeader");
    out.headerRow(columnNames(kColumns));
}

void Domain::printData(GenericPrint& out) const {
    TraceScope scope("Domain::printData");
    out.startEntity(entity::Domain);
    out.row(columnValues(kColumns, *this));
    out.endEntity(entity::Domain);
}
