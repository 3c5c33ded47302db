#include <gtest/gtest.h>

#include "Common/GenericPrint.h"
#include "Probe/Filesystem.h"
#include "support/TempTree.h"

TEST(NasFilerTest, WritesWhatItReadAndItsNameSpaceUnderAnotherName) {
    const TempTree tree;
    GenericPrint out(GenericPrint::ENTITIES, tree.path("out"));
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
    NasFiler::printHeader(out);
    filer.printData(out);
    EXPECT_EQ(
        "nfAlias,nfCIMOM,nfComputerID,nfIPAddress,nfManufacturer,nfName,nfNameFormat,"
        "nfnameSpace,nfOSType,nfVersion,nfNetworkName\n[NasFiler]\n"
        "\"c\",,\"0\",\"d\",,\"a\",\"0\",\"read\",\"23\",\"2\",\"b\"\n[/NasFiler]\n",
        tree.read("out"));
}
