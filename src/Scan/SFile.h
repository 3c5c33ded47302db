#pragma once

#include "Scan/FileAttributes.h"
#include "Scan/RecordList.h"

/// The ranking that an SFile stands in.
enum StatType : std::int32_t {
    ST_LARGEST_FILES = 0,
    ST_LEAST_ACCESSED = 1,
    ST_NOT_BACKED_UP = 2,
    ST_LARGEST_ORPHANS = 3,
    ST_OLDEST_ORPHANS = 4,
};

/// A file in a ranking: a copy of its attributes.
class SFile : public FileAttributes {
public:
    explicit SFile(const FileAttributes& file) : SFile("SFile", file) {}

    [[nodiscard]] static Row columnNames();
    static void printHeader(GenericPrint& out);
    void printData(GenericPrint& out) const;

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        FileAttributes::fields(self, pack);
        pack(self.sfFilesystemID, self.sfStatisticID, self.sfStatType);
    }

    SFile* nextFile = nullptr;  // owned by the list's holder
    std::int32_t sfFilesystemID = 0;
    std::int32_t sfStatisticID = 0;
    std::int32_t sfStatType = ST_LARGEST_FILES;

protected:
    SFile(const char* name, const FileAttributes& file) : FileAttributes(name, file) {}
};

using SFileList = RecordList<SFile, &SFile::nextFile>;
