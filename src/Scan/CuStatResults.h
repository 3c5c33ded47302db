#pragma once

#include <cstdint>
#include <memory>

#include "Common/Object.h"
#include "Scan/FileTypeSummary.h"
#include "Scan/OwnerTable.h"
#include "Scan/SDirectory.h"
#include "Scan/SFile.h"
#include "Scan/SSizeDist.h"
#include "Scan/SSummary.h"
#include "Scan/STimeDist.h"

class GenericPrint;

/// What one statistic found in one place. Records of which there is one stand here from
/// the start and fill during the walk; lists arrive when it ends. What the statistic does
/// not ask for, or never found, is empty.
///
/// Owners, groups and file types that the records refer to are valid during the scan only;
/// deleting the results does not look at them.
class CuStatResults : public Object {
public:
    CuStatResults() noexcept : Object("CuStatResults") {}

    static void printHeader(GenericPrint& out);

    /// Writes the entity with every record that is there.
    void printData(GenericPrint& out) const;

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        pack(self.srID, self.srLargestDirectories, self.srLargestFiles, self.srLeastAccessed,
             self.srOldestNotBackedUp, self.srLargestOrphans, self.srOldestOrphans,
             self.srFileTypes, self.srSummary, self.srSizeDist, self.srOwners, self.srGroups,
             self.srAccessed, self.srModified, self.srCreated, self.srBackup);
    }

    CuStatResults* nextResults = nullptr;  // owned by the list's holder
    std::int32_t srID = 0;                 // of the statistic
    SDirectoryList srLargestDirectories;
    SFileList srLargestFiles;
    SFileList srLeastAccessed;
    SFileList srOldestNotBackedUp;
    SFileList srLargestOrphans;
    SFileList srOldestOrphans;
    FileTypeSummaryList srFileTypes;
    std::unique_ptr<SSummary> srSummary;
    std::unique_ptr<SSizeDist> srSizeDist;
    std::unique_ptr<OwnerTable> srOwners;
    std::unique_ptr<OwnerTable> srGroups;
    std::unique_ptr<STimeDist> srAccessed;
    std::unique_ptr<STimeDist> srModified;
    std::unique_ptr<STimeDist> srCreated;
    std::unique_ptr<STimeDist> srBackup;
};
