#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Common/EntityToObjectMapper.h"

class BackupAction;
class GenericPrint;
class ResultsByFS;

/// Values of CuStatDef::sdType that the job looks at. Any other value but these covers
/// every file system of the request.
enum StatisticType : std::int16_t {
    SD_DIRECTORY = 0,          // covers monitored directories
    SD_BUILTIN = 3,            // the summary that every request carries
    SD_NAMED_FILESYSTEMS = 4,  // names its file systems itself
};

/// What one statistic is to collect, and the results that hang below it. A ranking length
/// of 0 or less asks for no ranking.
class CuStatDef : public EntityToObjectMapper {
public:
    CuStatDef();
    ~CuStatDef() override;  // deletes the results
    CuStatDef(const CuStatDef&) = delete;
    CuStatDef& operator=(const CuStatDef&) = delete;

    /// Flags know "Y", "y", "true", "N", "n" and "false"; other texts leave them alone. A
    /// clause is a list of signed bytes in decimal, which is appended to the field.
    void inititializeObject(const Row& header, const Table& rows) override;

    static void printHeader(GenericPrint& out);

    /// Writes the entity with its results; with a `filter` above 0 only those whose source
    /// lies on the file system of that id, or that have no source.
    void printData(GenericPrint& out, std::int32_t filter) const;

    /// Deletes the results of the monitored directories on the file system `fsID`.
    void releaseDirectories(std::int32_t fsID);

    [[nodiscard]] const std::string& getWhereClause() const { return sdWhereClause; }
    void setWhereClause(const std::string& clause) { sdWhereClause = clause; }
    [[nodiscard]] std::string getSdName() const;
    [[nodiscard]] CuStatDef* getTail();
    [[nodiscard]] CuStatDef* getHead();

    /// "creator.name", under which messages list the statistic.
    [[nodiscard]] std::string label() const { return sdCreator + "." + sdName; }

    /// A few fields, for the trace.
    [[nodiscard]] std::string toString() const;

    CuStatDef* sdNext = nullptr;  // owned by the list's holder
    CuStatDef* sdPrev = nullptr;  // not owned
    std::int32_t sdID = 0;
    std::int32_t sdAlertID = -1;
    std::string sdCreator;
    std::string sdName;
    std::string sdDescription;
    std::int16_t sdType = SD_DIRECTORY;
    std::int16_t sdShare = 0;          // only carried
    ResultsByFS* sdResults = nullptr;  // owned, head of the list
    std::int16_t sdLargestDirectories = 0;
    std::int16_t sdLargestFiles = 0;
    std::int16_t sdLeastAccessed = 0;
    std::int16_t sdOldestNotBackedUp = 0;
    std::int16_t sdLargestOrphans = 0;
    std::int16_t sdOldestOrphans = 0;
    bool sdSummary = false;
    bool sdSizeDistribution = false;
    bool sdGroupByOwner = false;
    bool sdGroupByGroup = false;
    bool sdGroupByAccess = false;
    bool sdGroupByMod = false;
    bool sdGroupByCreation = false;
    bool sdGroupByBackup = false;
    bool sdWinOnlyFileType = false;
    std::int16_t sdLargestFileTypes = 0;
    std::int16_t sdDailyRetention = 0;  // only carried, like the next two
    std::int16_t sdWeeklyRetention = 0;
    std::int16_t sdMonthlyRetention = 0;
    std::unique_ptr<BackupAction> sdBackupAction;  // written if set
    bool sdHasBackupAction = false;
    std::string sdWhereClause;  // raw bytes, NUL bytes included
};
