#include "Probe/Filesystem.h"

#include <array>
#include <strings.h>

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

// By value; of two rows with one name the first is found.
constexpr std::array<const char*, 26> kTypeNames = {
    "FAT",    "FAT32", "NTFS4", "NTFS5",       "EXT2",       "EXT3",   "Fenrel_JFS",
    "HP_HFS", "VXFS",  "UFS",   "TMPFS",       "Fenrel_OLD", "NW_FAT", "NW_NSS",
    "NFS",    "WAFL",  "FAKE",  "Fenrel_JFS2", "GRIDFS",     "GRIDFS", "REISERFS",
    "PLEXFS", "VMFS",  "EXT4",  "LVM2",        "CIFS"};

/// The text "null" is an empty value, also when it stood in quotes.
template <auto field>
void readTextOrNull(Filesystem& object, const std::string& value) {
    object.*field = value == "null" ? std::string() : value;
}

void readScanned(Filesystem& object, const std::string& value) {
    object.fsScanned = value == "true";
}

std::string writeScanned(const Filesystem& object) {
    return object.fsScanned ? "true" : "false";
}

// The list of hosts is one cell: it comes in as one member and so goes out unchanged.
void readHosts(Filesystem& object, const std::string& value) {
    object.hostNasMountPoint.clear();
    if (!value.empty() && value != "null")
        object.hostNasMountPoint.push_back(value);
}

std::string writeHosts(const Filesystem& object) {
    const std::string cell = joinedWithCommas(object.hostNasMountPoint);
    return cell.empty() ? "null" : cell;
}

template <auto field>
constexpr Column<Filesystem> numberColumn(const char* name) {
    return {name, readNumber<field>, writeNumber<field>};
}

template <auto field>
constexpr Column<Filesystem> textColumn(const char* name) {
    return {name, readTextOrNull<field>, writeTextOrNull<field>};
}

constexpr Column<Filesystem> kColumns[] = {
    numberColumn<&Filesystem::fsID>("fsID"),
    numberColumn<&Filesystem::fsComputerID>("fsComputerID"),
    numberColumn<&Filesystem::fsGroupID>("fsGroupID"),
    numberColumn<&Filesystem::fsLogDiskID>("fsLogDiskID"),
    numberColumn<&Filesystem::fsLogicalDiskID>("fsLogicalDiskID"),
    numberColumn<&Filesystem::fsMaxFiles>("fsMaxFiles"),
    numberColumn<&Filesystem::fsUsedInodes>("fsUsedInodes"),
    numberColumn<&Filesystem::fsFreeInodes>("fsFreeInodes"),
    numberColumn<&Filesystem::fsPhysicalSize>("fsPhysicalSize"),
    numberColumn<&Filesystem::fsCapacity>("fsCapacity"),
    numberColumn<&Filesystem::fsUsedSpace>("fsUsedSpace"),
    numberColumn<&Filesystem::fsFreeSpace>("fsFreeSpace"),
    numberColumn<&Filesystem::fsFileCount>("fsFileCount"),
    numberColumn<&Filesystem::fsDirectoryCount>("fsDirectoryCount"),
    numberColumn<&Filesystem::fsScanTime>("fsScanTime"),
    numberColumn<&Filesystem::fsType>("fsType"),
    numberColumn<&Filesystem::fsUseCount>("fsUseCount"),
    textColumn<&Filesystem::fsMountPoint>("fsMountPoint"),
    {"hostNasMountPoint", readHosts,                               writeHosts  },
    numberColumn<&Filesystem::fsDiscoveredTime>("fsDiscoveredTime"),
    numberColumn<&Filesystem::fsScanningCompID>("fsScanningCompID"),
    textColumn<&Filesystem::fsExportName>("fsExportName"),
    {"fsScanned",         readScanned,                             writeScanned},
    {"fsClusterSize",     readNumber<&Filesystem::fsClusterSize>,  nullptr     },
    {"fsMFTEntrySize",    readNumber<&Filesystem::fsMFTEntrySize>, nullptr     },
};

}  // namespace

void Filesystem::inititializeObject(const Row& header, const Table& rows) {
    TraceScope scope("Filesystem::inititializeObject");
    readRows(*this, kColumns, header, rows,
             "ERROR: VexObjectCreationException exception. Leaving method.");
}

void Filesystem::printHeader(GenericPrint& out) {
    TraceScope scope("Filesystem::printHeader");
    out.headerRow(columnNames(kColumns));
}

void Filesystem::printData(GenericPrint& out, bool onlyOnce) {
    TraceScope scope("Filesystem::printData");
    if (onlyOnce && printed)
        return;
    out.startEntity(entity::Filesystem);
    out.row(columnValues(kColumns, *this));
    out.endEntity(entity::Filesystem);
    printed = true;
}

bool Filesystem::isGRIDFSFileset(std::int16_t type) {
    return type == FS_GRIDFS || type == FS_GRIDFS_2;
}

std::int16_t Filesystem::typeOfName(const std::string& name) {
    TraceScope scope("Filesystem::typeOfName");
    for (std::size_t value = 0; value < kTypeNames.size(); ++value) {
        if (strcasecmp(name.c_str(), kTypeNames[value]) == 0)
            return static_cast<std::int16_t>(value);
    }
    return FS_UNKNOWN;
}
