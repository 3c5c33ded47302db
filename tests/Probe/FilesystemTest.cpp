#include <sstream>

#include <gtest/gtest.h>

#include "Common/GenericException.h"
#include "Common/GenericPrint.h"
#include "Probe/Filesystem.h"
#include "support/TempTree.h"

namespace {

/// What is written of a file system of this row; "325" if it is refused.
std::string copied(const Row& header, const Row& row) try {
    const TempTree tree;
    GenericPrint out(GenericPrint::ENTITIES, tree.path("out"));
    Filesystem filesystem;
    filesystem.inititializeObject(header, {row});
    filesystem.printData(out, true);
    filesystem.printData(out, true);  // not again
    return tree.read("out");
} catch (const VexObjectCreationException& thrown) {
    return std::to_string(thrown.getErrCode());
}

TEST(FilesystemTest, WritesInItsOwnOrderWhatItReadInAny) {
    const TempTree tree;
    GenericPrint out(GenericPrint::ENTITIES, tree.path("header"));
    Filesystem::printHeader(out);
    std::istringstream columns(
        "fsID,fsComputerID,fsGroupID,fsLogDiskID,fsLogicalDiskID,fsMaxFiles,fsUsedInodes,"
        "fsFreeInodes,fsPhysicalSize,fsCapacity,fsUsedSpace,fsFreeSpace,fsFileCount,"
        "fsDirectoryCount,fsScanTime,fsType,fsUseCount,fsMountPoint,hostNasMountPoint,"
        "fsDiscoveredTime,fsScanningCompID,fsExportName,fsScanned");
    EXPECT_EQ(columns.str() + "\n", tree.read("header"));

    Row header = {"fsNew", "fsClusterSize", "fsMFTEntrySize"};  // read at most
    Row row = {"x", "30", "31"};
    std::string written = "[Filesystem]\n";
    for (std::string name; std::getline(columns, name, ',');) {
        const std::string value = name == "fsScanned" ? "true" : std::to_string(row.size());
        header.insert(header.begin(), name);
        row.insert(row.begin(), value);
        written += '"' + value + (name == "fsScanned" ? "\"\n" : "\",");
    }
    EXPECT_EQ(written + "[/Filesystem]\n", copied(header, row));
}

TEST(FilesystemTest, EmptyValuesAreNullOrZero) {
    const std::string nothing = copied({}, {});
    EXPECT_NE(std::string::npos, nothing.find(R"("0","null","null","0","0","null","false")"));
    const Row header = {"fsMountPoint", "hostNasMountPoint", "fsMaxFiles", "fsScanned"};
    EXPECT_EQ(nothing, copied(header, {"null", "null", "null", "TRUE"}));
    EXPECT_EQ(nothing, copied(header, {"", "", "", ""}));
    EXPECT_EQ("325", copied(header, {"/m", "h", "1", "true", "x"}));
}

TEST(FilesystemTest, TheLastRowWinsWithinTheWidthOfItsFields) {
    const Row last = {"4294967299", "65554", "9000000000"};
    Filesystem filesystem;
    filesystem.inititializeObject({"fsID", "fsType", "fsMaxFiles"}, {Row(3, "1"), last});
    EXPECT_EQ(3, filesystem.fsID);
    EXPECT_EQ(Filesystem::typeOfName("gridfs"), filesystem.fsType);
    EXPECT_EQ(9000000000, filesystem.fsMaxFiles);
}

}  // namespace
