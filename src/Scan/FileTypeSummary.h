#pragma once

#include "Scan/FileType.h"
#include "Scan/History.h"
#include "Scan/RecordList.h"

/// What the files of one extension use, for one statistic on one file system.
class FileTypeSummary : public History {
public:
    FileTypeSummary() noexcept : History("FileTypeSummary") {}

    static void printHeader(GenericPrint& out);

    /// Writes the entity, with the extension if there is one.
    void printData(GenericPrint& out) const;

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        pack(self.profileID, self.filesystemID, self.fileCount, self.spaceUsed, self.fileType);
    }

    FileTypeSummary* nextSummary = nullptr;  // owned by the list's holder
    std::int32_t profileID = 0;              // the statistic
    std::int32_t filesystemID = 0;
    std::int64_t fileCount = 0;
    std::int64_t spaceUsed = 0;          // units of 512 bytes
    const FileType* fileType = nullptr;  // not owned; valid during the scan
};

using FileTypeSummaryList = RecordList<FileTypeSummary, &FileTypeSummary::nextSummary>;
