#include "Scan/CuStatDef.h"

#include <sstream>
#include <utility>

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Scan/BackupAction.h"
#include "Scan/ResultsByFS.h"
#include "common/ut/TraceScope.h"

namespace {

template <auto field>
void readFlag(CuStatDef& statistic, const std::string& value) {
    if (value == "Y" || value == "y" || value == "true")
        statistic.*field = true;
    else if (value == "N" || value == "n" || value == "false")
        statistic.*field = false;
}

/// Appends the listed bytes; a token that is no number of 16 bits stands for 0.
void readClause(CuStatDef& statistic, const std::string& value) {
    static constexpr char kSeparators[] = ", ";
    if (value == "null")
        return;
    for (std::size_t start = value.find_first_not_of(kSeparators);
         start != std::string::npos;) {
        const std::size_t end = value.find_first_of(kSeparators, start);
        std::istringstream token(value.substr(start, end - start));
        std::int16_t number = 0;
        if (!(token >> number))
            number = 0;
        statistic.sdWhereClause += static_cast<char>(static_cast<unsigned>(number) & 0xFFU);
        start = value.find_first_not_of(kSeparators, end);
    }
}

template <auto field>
constexpr Column<CuStatDef> numberColumn(const char* name) {
    return {name, readNumber<field>, writeNumber<field>};
}

template <auto field>
constexpr Column<CuStatDef> textColumn(const char* name) {
    return {name, readText<field>, writeTextOrNull<field>};
}

template <auto field>
constexpr Column<CuStatDef> flagColumn(const char* name) {
    return {name, readFlag<field>, writeFlag<field>};
}

constexpr Column<CuStatDef> kColumns[] = {
    numberColumn<&CuStatDef::sdID>("sdID"),
    numberColumn<&CuStatDef::sdAlertID>("sdAlertID"),
    textColumn<&CuStatDef::sdCreator>("sdCreator"),
    textColumn<&CuStatDef::sdName>("sdName"),
    textColumn<&CuStatDef::sdDescription>("sdDescription"),
    numberColumn<&CuStatDef::sdType>("sdType"),
    numberColumn<&CuStatDef::sdShare>("sdShare"),
    numberColumn<&CuStatDef::sdLargestDirectories>("sdLargestDirectories"),
    numberColumn<&CuStatDef::sdLargestFiles>("sdLargestFiles"),
    numberColumn<&CuStatDef::sdLeastAccessed>("sdLeastAccessed"),
    numberColumn<&CuStatDef::sdOldestNotBackedUp>("sdOldestNotBackedUp"),
    numberColumn<&CuStatDef::sdLargestOrphans>("sdLargestOrphans"),
    numberColumn<&CuStatDef::sdOldestOrphans>("sdOldestOrphans"),
    flagColumn<&CuStatDef::sdSummary>("sdSummary"),
    flagColumn<&CuStatDef::sdSizeDistribution>("sdSizeDistribution"),
    flagColumn<&CuStatDef::sdGroupByOwner>("sdGroupByOwner"),
    flagColumn<&CuStatDef::sdGroupByGroup>("sdGroupByGroup"),
    flagColumn<&CuStatDef::sdGroupByAccess>("sdGroupByAccess"),
    flagColumn<&CuStatDef::sdGroupByMod>("sdGroupByMod"),
    flagColumn<&CuStatDef::sdGroupByCreation>("sdGroupByCreation"),
    flagColumn<&CuStatDef::sdGroupByBackup>("sdGroupByBackup"),
    flagColumn<&CuStatDef::sdWinOnlyFileType>("sdWinOnlyFileType"),
    numberColumn<&CuStatDef::sdLargestFileTypes>("sdLargestFileTypes"),
    numberColumn<&CuStatDef::sdDailyRetention>("sdDailyRetention"),
    numberColumn<&CuStatDef::sdWeeklyRetention>("sdWeeklyRetention"),
    numberColumn<&CuStatDef::sdMonthlyRetention>("sdMonthlyRetention"),
    {"sdHasBackupAction", nullptr,    writeFlag<&CuStatDef::sdHasBackupAction>  },
    {"sdWhereClause",     readClause, writeTextOrNull<&CuStatDef::sdWhereClause>},
};

}  // namespace

CuStatDef::CuStatDef() = default;

CuStatDef::~CuStatDef() {
    TraceScope scope("CuStatDef::~CuStatDef");
    while (sdResults) {
        ResultsByFS* const next = sdResults->nextResultsByFS;
        delete sdResults;
        sdResults = next;
    }
}

void CuStatDef::inititializeObject(const Row& header, const Table& rows) {
    TraceScope scope("CuStatDef::inititializeObject");
    readRows(*this, kColumns, header, rows,
             "exception = 'innerArray.size() != refHeaderArray.size()'.");
}

void CuStatDef::printHeader(GenericPrint& out) {
    TraceScope scope("CuStatDef::printHeader");
    out.headerRow(columnNames(kColumns));
}

void CuStatDef::printData(GenericPrint& out, std::int32_t filter) const {
    TraceScope scope("CuStatDef::printData");
    out.startEntity(entity::CuStatDef);
    out.row(columnValues(kColumns, *this));
    for (const ResultsByFS* results = sdResults; results; results = results->nextResultsByFS) {
        if (results->passes(filter))
            results->printData(out);
    }
    if (sdBackupAction)
        sdBackupAction->printData(out);
    out.endEntity(entity::CuStatDef);
}

void CuStatDef::releaseDirectories(std::int32_t fsID) {
    TraceScope scope("CuStatDef::releaseDirectories");
    for (ResultsByFS** link = &sdResults; *link;) {
        if ((*link)->isDirectoryOn(fsID))
            delete std::exchange(*link, (*link)->nextResultsByFS);
        else
            link = &(*link)->nextResultsByFS;
    }
}

std::string CuStatDef::getSdName() const {
    trTrace(naMax, "getSdName(...) returnValue: %s", sdName.c_str());
    return sdName;
}

CuStatDef* CuStatDef::getTail() {
    CuStatDef* tail = this;
    while (tail->sdNext)
        tail = tail->sdNext;
    return tail;
}

CuStatDef* CuStatDef::getHead() {
    CuStatDef* head = this;
    while (head->sdPrev)
        head = head->sdPrev;
    return head;
}

std::string CuStatDef::toString() const {
    return "\nsdID = " + std::to_string(sdID) + "\nsdAlertID = " + std::to_string(sdAlertID) +
           "\nsdCreator = " + sdCreator + "\nsdName = " + sdName +
           "\nsdDescription = " + sdDescription;
}
