#pragma once

#include <cstdint>

#include "Common/AnalysisSource.h"
#include "Scan/FileAttributes.h"
#include "Scan/SpecMatches.h"

/// A monitored directory that was found during a walk: its attributes, and the
/// MonDirSpecs that match it. All statistics of the directory share one.
class SMonDir : public FileAttributes, public AnalysisSource {
public:
    static constexpr std::int32_t kNotEntered = -1;

    SMonDir() noexcept : FileAttributes("SMonDir") {}

    static void printHeader(GenericPrint& out);

    /// Writes the entity, with the MonDirSpecs, the owner and the group.
    void printData(GenericPrint& out) const;

    /// Its attributes are known from here on.
    void enter(const FileAttributes& directory, std::int32_t filesystemID);

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        FileAttributes::fields(self, pack);
        pack(self.smFilesystemID, self.smDirectoryID, self.smNewDirectory, self.smScanTime,
             self.smRemovedTime, self.smDirSpecs);
    }

    std::int32_t smFilesystemID = kNotEntered;
    std::int32_t smDirectoryID = 0;
    std::int32_t smNewDirectory = 0;  // set by nobody, like the next two
    std::int64_t smScanTime = 0;
    std::int64_t smRemovedTime = 0;
    SpecMatches smDirSpecs;
};
