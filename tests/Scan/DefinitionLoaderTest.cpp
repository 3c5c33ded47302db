#include <filesystem>
#include <set>

#include <gtest/gtest.h>

#include "Common/GenericException.h"
#include "Probe/Filesystem.h"
#include "Scan/AgentScan.h"
#include "Scan/CuStatDef.h"
#include "Scan/DefinitionLoader.h"
#include "Scan/MonDirSpec.h"
#include "Scan/ResultsByFS.h"
#include "support/TempTree.h"

TEST(DefinitionLoaderTest, BuildsTheListsOfTheRequest) {
    const auto request = DefinitionLoader(SCAN_TEST_DATA "/definition.dat").load();
    EXPECT_EQ("job1", request->asJobName);                       // of its first row
    const Filesystem* const remote = request->getFilesystems();  // the last of the file
    EXPECT_EQ("tree1", remote->filer->tree->ltName);
    EXPECT_EQ("second", remote->filer->domains.back()->domName);
    EXPECT_EQ(43, remote->filer->filesystem->fsComputerID);
    EXPECT_EQ("/mnt/a", remote->next->fsMountPoint);

    const MonDirSpec* const directory = request->getDirectories();
    EXPECT_EQ("/mnt/b/e", directory->getMdsPath());  // of its second row
    EXPECT_TRUE(directory->getMdsMaskedPath());      // of its first: "true" is no flag

    const CuStatDef* const second = request->getStatistics()->sdNext;
    EXPECT_EQ(100, second->sdPrev->sdID);
    EXPECT_EQ(nullptr, second->sdResults->filesystem());  // newest first
    EXPECT_EQ(42, second->sdResults->nextResultsByFS->filesystem()->fsComputerID);
}

TEST(DefinitionLoaderTest, ACutDefinitionLoadsOrFailsWithItsCode) {
    const TempTree tree;
    std::filesystem::copy(SCAN_TEST_DATA "/definition.dat", tree.path("whole"));
    const std::string whole = tree.read("whole");
    std::set<int> codes;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        tree.write("cut", whole.substr(0, length));
        try {
            codes.insert(DefinitionLoader(tree.path("cut")).load() ? 0 : -1);
        } catch (const VEXParserException& failure) {
            codes.insert(failure.getErrCode());
        } catch (const VexObjectCreationException& failure) {
            codes.insert(failure.getErrCode());
        }
    }
    EXPECT_EQ((std::set<int>{0, VEX_READ_FAILED, VEX_COLUMN_COUNT}), codes);
}
