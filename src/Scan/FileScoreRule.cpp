#include "Scan/FileScoreRule.h"

#include "Common/EntityColumns.h"
#include "Common/GenericPrint.h"
#include "Common/LogManager.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr char kRowTooLong[] =
    "ERROR: innerArray.size() != refHeaderArray.size(). "
    "VexObjectCreationException exception will be thrown.";

constexpr Column<FileScoreRule> kColumns[] = {
    {"cType",     readNumber<&FileScoreRule::cType>,     writeNumber<&FileScoreRule::cType> },
    {"cOperator", readNumber<&FileScoreRule::cOperator>,
     writeNumber<&FileScoreRule::cOperator>                                                 },
    {"cRule",     readText<&FileScoreRule::cRule>,       writeText<&FileScoreRule::cRule>   },
    {"cScore",    readNumber<&FileScoreRule::cScore>,    writeNumber<&FileScoreRule::cScore>},
};

}  // namespace

void FileScoreRule::inititializeObject(const Row& header, const Table& rows) {
    TraceScope scope("FileScoreRule::inititializeObject");
    try {
        readRows(*this, kColumns, header, rows, kRowTooLong);
    } catch (const VexObjectCreationException&) {
        logMsg(message::STA0028I, {kRowTooLong});
        throw;
    }
}

void FileScoreRule::printHeader(GenericPrint& out) {
    TraceScope scope("FileScoreRule::printHeader");
    out.headerRow(columnNames(kColumns));
}
