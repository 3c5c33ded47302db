#include "Common/ComputerID.h"

#include <algorithm>

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Common/LogManager.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr char kColumn[] = "computerID";

}  // namespace

std::unique_ptr<ComputerID> ComputerID::parseData(ParserAPI& parser,
                                                  const ParserAPI::Entity& entity) {
    TraceScope scope("ComputerID::parseData");
    const Row header = parser.getEntityHeader(entity);
    const Table rows = parser.getEntityData(entity);
    const auto column = std::find(header.begin(), header.end(), kColumn);
    if (column == header.end() || rows.empty() || rows.front().size() != header.size()) {
        logMsg(message::GEN7001E);
        throwVEXParser(VEX_DATA_FAILED, "Unable to parse datafile.\n");
    }
    const std::string& value = rows.front()[static_cast<std::size_t>(column - header.begin())];
    return std::make_unique<ComputerID>(static_cast<std::int32_t>(decimal(value)));
}

void ComputerID::printData(GenericPrint& out) const {
    TraceScope scope("ComputerID::printData");
    out.startEntity(entity::ComputerID);
    out.row({std::to_string(computerID)});
    out.endEntity(entity::ComputerID);
}
