#include "Scan/BackupAction.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

std::string writeType(const BackupAction& action) {
    return {action.baType};
}

template <auto field>
std::string writeList(const BackupAction& action) {
    return joinedWithCommas(action.*field);
}

constexpr Column<BackupAction> kColumns[] = {
    {"baID",                  nullptr, writeNumber<&BackupAction::baID>                 },
    {"baType",                nullptr, writeType                                        },
    {"baDeleteFile",          nullptr, writeFlag<&BackupAction::baDeleteFile>           },
    {"baOptions",             nullptr, writeText<&BackupAction::baOptions>              },
    {"baFile",                nullptr, writeList<&BackupAction::baFile>                 },
    {"baFilesystem",          nullptr, writeList<&BackupAction::baFilesystem>           },
    {"baConstraintThreshold", nullptr, writeNumber<&BackupAction::baConstraintThreshold>},
};

}  // namespace

void BackupAction::inititializeObject(const Row& /*header*/, const Table& /*rows*/) {
    TraceScope scope("BackupAction::inititializeObject");
}

void BackupAction::printData(GenericPrint& out) const {
    TraceScope scope("BackupAction::printData");
    out.startEntity(entity::BackupAction);
    out.headerRow(columnNames(kColumns));
    out.row(columnValues(kColumns, *this));
    out.endEntity(entity::BackupAction);
}
