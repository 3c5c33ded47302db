#include <unistd.h>

#include <gtest/gtest.h>

#include "Common/GenericPrint.h"
#include "Common/ParserAPI.h"
#include "Probe/Filesystem.h"
#include "support/ownNamespace.h"

/// The object that comes back from what is written of this one.
template <class T>
T& readBack(const T& object, const std::string& type, T& copy) {
    const TempTree tree;
    {
        GenericPrint out(GenericPrint::ENTITIES, tree.path("file"));
        out.startEntity("Header");
        out.startEntity(type);
        T::printHeader(out);
        out.endEntity("Header");
        object.printData(out);
    }
    ParserAPI parser(tree.path("file"));
    const auto found = parser.findNextEntity(nullptr);
    EXPECT_EQ(type, found->name);
    copy.initializeObject(parser.getEntityHeader(*found), parser.getEntityData(*found));
    return copy;
}

TEST(NasFilerTest, ReadsBackWhatItWritesButForTheNameSpace) {
    const Row header = {"nfAlias",        "nfCIMOM",  "nfComputerID", "nfIPAddress",
                        "nfManufacturer", "nfName",   "nfVersion",    "nfNameFormat",
                        "nfNetworkName",  "nfOSType", "nfNameSpace",  "other"};
    NasFiler filer;
    filer.initializeObject(header, {
                                       {"a", "c", "43", "192.0.2.7", "m", "n \"1\"", "3", "4",
                                        "n.net", "65559", "space", "x"}
    });
    EXPECT_EQ("space", filer.nfNameSpace);
    NasFiler copy;
    readBack(filer, "NasFiler", copy);
    EXPECT_EQ("a|c|192.0.2.7|m|n \"1\"|n.net|",
              copy.nfAlias + "|" + copy.nfCIMOM + "|" + copy.nfIPAddress + "|" +
                  copy.nfManufacturer + "|" + copy.nfName + "|" + copy.nfNetworkName + "|" +
                  copy.nfNameSpace);
    EXPECT_EQ(43 + 3 + 4 + 23,
              copy.nfComputerID + copy.nfVersion + copy.nfNameFormat + copy.nfOSType);

    NasFiler untouched;
    untouched.initializeObject(header, {
                                           {"a", "b"}
    });
    EXPECT_EQ("2", untouched.nfAlias + std::to_string(untouched.nfVersion));
    Domain domain{8, "d", 5};
    Domain domainCopy;
    EXPECT_EQ("d", readBack(domain, "Domain", domainCopy).domName);
    LdapTree tree{5, 43, "t", "reader", "secret"};
    LdapTree treeCopy;
    EXPECT_EQ("secret", readBack(tree, "LdapTree", treeCopy).ltPassword);
    treeCopy.initializeObject(
        {
            "ltName"
    },
        {{"x", "y"}});
    EXPECT_EQ("t", treeCopy.ltName);
}

TEST(NasFilerTest, GoesByItsNetworkNameInTheDomainOfThisHost) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const TempTree tree;
    writeResolver(tree, "etc", "192.0.2.1 agent1.example.net agent1\n");
    whileCovered(tree.path("etc"), "/etc", [] {
        ASSERT_EQ(0, sethostname("agent1", 6));
        NasFiler filer;
        filer.nfName = "plain";
        filer.nfNetworkName = "network";
        EXPECT_EQ("plain", filer.networkName());
        for (const char* const domain : {"EXAMPLE.net", "first counts"})
            filer.domains.push_back(std::make_unique<Domain>(Domain{1, domain, 1}));
        EXPECT_EQ("EXAMPLE.net", filer.filerDomain());
        EXPECT_EQ("network", filer.networkName());
    });
}
