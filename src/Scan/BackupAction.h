#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Common/EntityToObjectMapper.h"

class GenericPrint;

/// The record of an action on the files of a statistic. A definition cannot fill it and
/// the job creates none; it is written where a statistic has one.
class BackupAction : public EntityToObjectMapper {
public:
    void inititializeObject(const Row& header, const Table& rows) override;

    /// Writes the entity: column names, then the row.
    void printData(GenericPrint& out) const;

    std::int32_t baID = 0;
    char baType = ' ';
    bool baDeleteFile = false;
    std::string baOptions;
    std::vector<std::string> baFile;
    std::vector<std::string> baFilesystem;
    std::int32_t baConstraintThreshold = 0;
};
