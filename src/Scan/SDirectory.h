#pragma once

#include <array>

#include "Scan/FileAttributes.h"
#include "Scan/RecordList.h"
#include "Scan/SizeRanges.h"

/// A directory and what lies directly in it. Sizes are in units of 512 bytes; sums and
/// counts wrap.
class SDirectory : public FileAttributes {
public:
    explicit SDirectory(const FileAttributes& directory)
        : FileAttributes("SDirectory", directory) {}

    static void printHeader(GenericPrint& out);
    void printData(GenericPrint& out) const;

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        FileAttributes::fields(self, pack);
        pack(self.dirFilesystemID, self.dirStatisticID, self.dirFileCount,
             self.dirDirectoryCount, self.dirTotalSize, self.dirLargestSize,
             self.dir2ndLargestSize, self.dirSizes, self.dirCounts);
    }

    std::int32_t dirFilesystemID = 0;
    std::int32_t dirStatisticID = 0;
    std::int32_t dirFileCount = 0;  // regular files and symbolic links
    std::int32_t dirDirectoryCount = 0;
    std::int64_t dirTotalSize = 0;
    std::int64_t dirLargestSize = 0;  // see LargeDirAccum, like the next
    std::int64_t dir2ndLargestSize = 0;
    std::array<std::int64_t, SizeRanges::kCount> dirSizes{};   // by size range
    std::array<std::int32_t, SizeRanges::kCount> dirCounts{};  // by size range
    SDirectory* nextDir = nullptr;  // owned by the list's holder; in a walk the one above
};

using SDirectoryList = RecordList<SDirectory, &SDirectory::nextDir>;
