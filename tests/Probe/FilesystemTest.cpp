#include <sstream>

#include <gtest/gtest.h>

#include "Common/GenericException.h"
#include "Common/GenericPrint.h"
#include "Probe/Filesystem.h"
#include "support/TempTree.h"

namespace {

/// What `print` writes.
template <class Print>
std::string written(const Print& print) {
    const TempTree tree;
    GenericPrint out(GenericPrint::ENTITIES, tree.path("out"));
    print(out);
    return tree.read("out");
}

/// What is written of a file system of this row; "325" if it is refused.
std::string copied(const Row& header, const Row& row) try {
    Filesystem filesystem;
    filesystem.inititializeObject(header, {row});
    return written([&](GenericPrint& out) {
        filesystem.printData(out, true);
        filesystem.printData(out, true);  // not again
    });
} catch (const VexObjectCreationException& thrown) {
    return std::to_string(thrown.getErrCode());
}

// The order of its columns is that of the stored results of tests/data.
TEST(FilesystemTest, WritesInItsOwnOrderWhatItReadInAny) {
    std::istringstream columns(written(Filesystem::printHeader));
    Row header = {"fsNew", "fsClusterSize", "fsMFTEntrySize"};  // read at most
    Row row = {"x", "30", "31"};
    std::string expected = "[Filesystem]\n";
    for (std::string name; std::getline(columns, name, ',');) {
        const bool last = name == "fsScanned\n";
        const std::string value = last ? "true" : std::to_string(row.size());
        header.insert(header.begin(), last ? "fsScanned" : name);
        row.insert(row.begin(), value);
        expected += '"' + value + (last ? "\"\n" : "\",");
    }
    EXPECT_EQ(expected + "[/Filesystem]\n", copied(header, row));
}

TEST(FilesystemTest, EmptyValuesAreNullOrZeroAndTheLastRowWins) {
    const std::string nothing = copied({}, {});
    EXPECT_NE(std::string::npos, nothing.find(R"("0","null","null","0","0","null","false")"));
    const Row header = {"fsMountPoint", "hostNasMountPoint", "fsMaxFiles", "fsScanned"};
    EXPECT_EQ(nothing, copied(header, {"null", "null", "null", "TRUE"}));
    EXPECT_EQ(nothing, copied(header, {"", "", "", ""}));
    EXPECT_EQ("325", copied(header, {"/m", "h", "1", "true", "x"}));

    const Row last = {"4294967299", "65554", "9000000000"};
    Filesystem filesystem;
    filesystem.inititializeObject({"fsID", "fsType", "fsMaxFiles"}, {Row(3, "1"), last});
    EXPECT_EQ(3, filesystem.fsID);
    EXPECT_EQ(Filesystem::typeOfName("gridfs"), filesystem.fsType);
    EXPECT_EQ(9000000000, filesystem.fsMaxFiles);
}

TEST(NasFilerTest, WritesWhatItReadAndItsNameSpaceUnderAnotherName) {
    NasFiler filer;
    filer.initializeObject({"nfVersion", "nfName"}, {{"1"}});  // does not fit
    filer.initializeObject(
        {
            "nfName", "nfNetworkName", "nfAlias", "nfIPAddress", "nfOSType"
    },
        {{"a", "b", "c", "d", "65559"}});
    filer.initializeObject(
        {
            "nfNameSpace", "nfnameSpace"
    },
        {{"read", "not read"}});
    EXPECT_EQ(
        "nfAlias,nfCIMOM,nfComputerID,nfIPAddress,nfManufacturer,nfName,nfNameFormat,"
        "nfnameSpace,nfOSType,nfVersion,nfNetworkName\n"
        "[NasFiler]\n\"c\",,\"0\",\"d\",,\"a\",\"0\",\"read\",\"23\",\"2\",\"b\"\n[/"
        "NasFiler]\n",
        written([&](GenericPrint& out) {
            NasFiler::printHeader(out);
            filer.printData(out);
        }));
}

}  // namespace
