#include <unistd.h>

#include <gtest/gtest.h>

#include "Common/GenericPrint.h"
#include "Probe/Filesystem.h"
#include "support/ownNamespace.h"

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

TEST(NasFilerTest, GoesByItsNetworkNameInTheDomainOfThisHost) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    withHosts("192.0.2.1 agent1.example.net agent1\n", [] {
        EXPECT_EQ(0, sethostname("agent1", 6));
        NasFiler filer;
        filer.initializeObject(
            {
                "nfName", "nfNetworkName"
        },
            {{"plain", "network"}});
        EXPECT_EQ("plain", filer.networkName());
        filer.domains.push_back(std::make_unique<Domain>(Domain{1, "EXAMPLE.net", 1}));
        EXPECT_EQ("network", filer.networkName());
    });
}
