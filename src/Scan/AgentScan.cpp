#include "Scan/AgentScan.h"

#include <iterator>

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Probe/Filesystem.h"
#include "Scan/CuStatDef.h"
#include "Scan/MonDirSpec.h"
#include "Scan/ResultHeader.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<AgentScan> kColumns[] = {
    {"asJobName",        readText<&AgentScan::asJobName>,          writeText<&AgentScan::asJobName>},
    {"asScanningCompID", readNumber<&AgentScan::asScanningCompID>,
     writeNumber<&AgentScan::asScanningCompID>                                                     },
};

template <auto nextField, class T>
void deleteMembers(T* head) {
    while (head) {
        T* const next = head->*nextField;
        delete head;
        head = next;
    }
}

}  // namespace

AgentScan::~AgentScan() {
    TraceScope scope("AgentScan::~AgentScan");
    deleteMembers<&CuStatDef::sdNext>(m_pStatistics);
    deleteMembers<&MonDirSpec::mdsNext>(m_pDirectories);
    deleteMembers<&Filesystem::next>(m_pFilesystem);
}

void AgentScan::inititializeObject(const Row& header, const Table& rows) {
    TraceScope scope("AgentScan::inititializeObject");
    if (rows.empty())
        return;
    const Row& row = rows.front();
    if (row.size() != header.size()) {
        trTrace(naMin,
                "ERROR: refHeaderArray.size() != refDataArray.size(). "
                "VexObjectCreationException will be thrown.");
        throwVexObjectCreation(VEX_COLUMN_COUNT);
    }
    // Meant: a header in another order leaves the fields unset.
    for (std::size_t i = 0; i < std::size(kColumns) && i < row.size(); ++i) {
        if (header[i] == kColumns[i].name)
            kColumns[i].read(*this, row[i]);
    }
}

void AgentScan::setFilesystems(Filesystem* head) {
    TraceScope scope("AgentScan::setFilesystems");
    if (!head)
        trTrace(naMin, "WARNING: Set local Filesystem reference <m_pFilesystem> to NULL.");
    m_pFilesystem = head;
}

void AgentScan::setDirectories(MonDirSpec* head) {
    TraceScope scope("AgentScan::setDirectories");
    if (!head)
        trTrace(naMin, "WARNING: Set local MonDirSpec reference <m_pDirectories> to NULL.");
    m_pDirectories = head;
}

void AgentScan::setStatistics(CuStatDef* head) {
    TraceScope scope("AgentScan::setStatistics");
    if (!head)
        trTrace(naMin, "WARNING: Set local CuStatDef reference <m_pStatistics> to NULL.");
    m_pStatistics = head;
}

void AgentScan::printHeader(GenericPrint& out) {
    TraceScope scope("AgentScan::printHeader");
    printResultHeader(out, columnNames(kColumns));
}

void AgentScan::printRow(GenericPrint& out) const {
    TraceScope scope("AgentScan::printRow");
    out.row(columnValues(kColumns, *this));
}

void AgentScan::printData(GenericPrint& out) const {
    TraceScope scope("AgentScan::printData");
    printRow(out);
    printFilesystems(out);
    printMonDirSpecs(out);
    printCuStatDefs(out);
}

void AgentScan::printFilesystems(GenericPrint& out) const {
    TraceScope scope("AgentScan::printFilesystems");
    if (!m_pFilesystem)
        trTrace(naMin, "WARNING: Local Filesystem reference is NULL. Nothing to print.");
    for (Filesystem* member = m_pFilesystem; member; member = member->next)
        member->printData(out, false);
}

void AgentScan::printMonDirSpecs(GenericPrint& out) const {
    TraceScope scope("AgentScan::printMonDirSpecs");
    if (!m_pDirectories)
        trTrace(naMin,
                "WARNING: Local MonDirSpec directory reference is NULL. Nothing to print.");
    for (const MonDirSpec* member = m_pDirectories; member; member = member->mdsNext)
        member->printData(out);
}

void AgentScan::printCuStatDefs(GenericPrint& out) const {
    TraceScope scope("AgentScan::printCuStatDefs");
    if (!m_pStatistics)
        trTrace(naMin,
                "WARNING: Local CuStatDef statistics reference is NULL. Nothing to print.");
    for (const CuStatDef* member = m_pStatistics; member; member = member->sdNext)
        member->printData(out, 0);
}
