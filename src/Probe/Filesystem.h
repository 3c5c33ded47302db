#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Common/AnalysisSource.h"
#include "Common/EntityToObjectMapper.h"
#include "Probe/NasFiler.h"

class GenericPrint;

/// Values of Filesystem::fsType that the job looks at.
enum FilesystemType : std::int16_t {
    FS_UNKNOWN = -1,
    FS_FAT = 0,
    FS_FAT32 = 1,
    FS_FAKE = 16,    // a placeholder: the requester does not know the type
    FS_GRIDFS = 18,  // 18 and 19 are the same type
    FS_GRIDFS_2 = 19,
    FS_PLEXFS = 21,
};

/// One file system of a request, and its record in the result file. Space is counted in
/// units of 512 bytes, times are milliseconds since the epoch.
class Filesystem : public EntityToObjectMapper, public AnalysisSource {
public:
    /// Reads the row. "null" leaves a text empty and makes a number 0; `fsScanned` is true
    /// for "true" only.
    void inititializeObject(const Row& header, const Table& rows) override;

    static void printHeader(GenericPrint& out);

    /// Writes the record with its start and end lines; not again if `onlyOnce` is set.
    void printData(GenericPrint& out, bool onlyOnce);

    /// True for a file system that is walked from its own root.
    [[nodiscard]] static bool isGRIDFSFileset(std::int16_t type);

    /// The value of a type's name in any case, FS_UNKNOWN for a name without a row.
    [[nodiscard]] static std::int16_t typeOfName(const std::string& name);

    Filesystem* next = nullptr;  // owned by the list's holder
    std::int32_t fsID = 0;
    std::int32_t fsLogicalDiskID = 0;
    std::int32_t fsComputerID = 0;
    std::int32_t fsScanningCompID = 0;
    std::int32_t fsGroupID = 0;
    std::int64_t fsMaxFiles = 0;  // inodes in all
    std::int32_t fsUsedInodes = 0;
    std::int32_t fsFreeInodes = 0;
    std::string fsMountPoint;
    std::vector<std::string> hostNasMountPoint;
    std::int64_t fsPhysicalSize = 0;
    std::int64_t fsCapacity = 0;
    std::int64_t fsUsedSpace = 0;
    std::int64_t fsFreeSpace = 0;
    std::int64_t fsScanTime = 0;  // when the last walk began
    std::int16_t fsType = 0;
    std::int16_t fsUseCount = 0;
    bool fsScanned = false;  // found mounted, its statistics read, and walked
    std::int64_t fsDiscoveredTime = 0;
    std::int32_t fsFileCount = 0;
    std::int32_t fsDirectoryCount = 0;
    std::string fsExportName;
    std::int32_t fsLogDiskID = 0;
    std::unique_ptr<NasFiler> filer;  // null for a local file system
    std::int32_t fsClusterSize = 0;   // read, never written
    std::int32_t fsMFTEntrySize = 0;  // read, never written

private:
    bool printed = false;
};
