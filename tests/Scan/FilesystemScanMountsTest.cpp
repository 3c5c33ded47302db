#include <gtest/gtest.h>

#include "Common/unix/pssignal.h"
#include "Probe/Filesystem.h"
#include "Probe/Mounts.h"
#include "Scan/FilesystemScan.h"
#include "common/ut/trace.h"
#include "common/ut/traceControl.h"
#include "support/LogTest.h"
#include "support/ownNamespace.h"

namespace {

class FilesystemScanMountsTest : public LogTest {
protected:
    FilesystemScanMountsTest() {
        writeResolver(
            tree, "etc",
            "192.0.2.7 filer1\n192.0.2.8 filer2\n2001:DB8::1 six\n192.0.2.9 192.0.2.9\n");
    }

    /// The map of a table of these rows: "key at mount point" each, sorted by key.
    std::string mapped(const std::string& rows, bool resolve) {
        tree.write("mtab", rows);
        map.clear();
        Mounts table(tree.path("mtab"));
        allParsed = scan.handleMounts(map, table, resolve);
        std::string text;
        for (const auto& [key, row] : map)
            text += key + " at " + row->mountPoint + "\n";
        return text;
    }

    /// The keys of an export of the filer, joined with blanks.
    std::string keys(const std::string& exported) {
        filesystem.fsMountPoint = exported;
        std::string text;
        for (const std::string& key : scan.candidateKeys(filesystem))
            text += (text.empty() ? "" : " ") + key;
        return text;
    }

    FilesystemScan scan;
    FilesystemScan::MountsMap map;
    Filesystem filesystem;
    bool allParsed = false;
};

TEST_F(FilesystemScanMountsTest, EveryRowHasItsKeyAndTheFirstOfAKeyStays) {
    tree.mkdirp("cluster/c1");
    EXPECT_EQ(
        "/a b\n\"c at /a b\n\"c\n[fe80::1]:/x at /six\nc1 at " + tree.path("cluster") +
            "\nfiler.net:/E:/x at /first\n",
        mapped("h:/e /a\\040b\\012\"c fuse.nfs rw 0 0\nFiler.NET:/E:/x /first nfs4 rw 0 0\n"
               "filer.net:/E:/x /second nfs rw 0 0\n[FE80::1]:/x /six nfs rw 0 0\n"
               "any " +
                   tree.path("cluster") + " gridfs rw 0 0\n",
               false));
    EXPECT_TRUE(allParsed);

    EXPECT_EQ("/a at /a\n", mapped(":/e /m nfs rw 0 0\nforged\\012line /m nfs rw 0 0\n"
                                   "/dev/a /a xfs rw 0 0\n/dev/b /a xfs rw 0 0\n",
                                   false));
    EXPECT_FALSE(allParsed);
    EXPECT_EQ("NAA0039W The import could not be parsed: forged line\n", lastLogged());
    Mounts none(tree.path("none"));
    EXPECT_FALSE(scan.handleMounts(map, none, true));
}

TEST_F(FilesystemScanMountsTest, AnImportIsFoundUnderTheAddressOfItsHostToo) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    whileCovered(tree.path("etc"), "/etc", [this] {
        EXPECT_EQ(
            "192.0.2.7:/a at /1\n192.0.2.8:/b at /3\n192.0.2.9:/e at /6\n"
            "[2001:db8::1]:/c at /4\nfiler1:/a at /1\nfiler2:/b at /2\nnobody:/d at /5\n"
            "six:/c at /4\n",
            mapped("FILER1:/a /1 nfs rw 0 0\nfiler2:/b /2 nfs rw 0 0\n"
                   "192.0.2.8:/b /3 nfs rw 0 0\nsix:/c /4 nfs4 rw 0 0\n"
                   "nobody:/d /5 nfs rw 0 0\n192.0.2.9:/e /6 nfs rw 0 0\n",
                   true));
    });
}

TEST_F(FilesystemScanMountsTest, AFilerIsTriedUnderEachOfItsNames) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    EXPECT_EQ("/local", keys("/local"));
    filesystem.filer = std::make_unique<NasFiler>();
    NasFiler& filer = *filesystem.filer;
    EXPECT_EQ("", keys("/e"));
    filer.nfName = "  ";
    filer.nfNetworkName = " Filer.net ";
    EXPECT_EQ("Filer.net:/vol/vol0", keys("/vol/vol0"));
    filer.nfName = "filer";
    EXPECT_EQ("Filer.net:vol/vol0 Filer.net:/ filer:vol/vol0 filer:/", keys("vol/vol0"));
    filer.nfName = filer.nfNetworkName = "";
    whileCovered(tree.path("etc"), "/etc", [&] {
        for (const auto& [address, expected] : {
                 std::pair{" 192.0.2.7 ", "192.0.2.7:/e"          },
                 {"filer1",      "filer1:/e 192.0.2.7:/e"},
                 {"six",         "six:/e 2001:db8::1:/e" },
                 {"nobody",      "nobody:/e"             }
        }) {
            filer.nfIPAddress = address;
            EXPECT_EQ(expected, keys("/e"));
        }
    });

    filer.nfOSType = 23;
    filer.nfName = "name";
    EXPECT_EQ("name", keys("/vol/vol0"));
    filer.nfNetworkName = "net";
    EXPECT_EQ("name net:/", keys("/vol/vol0"));
    EXPECT_EQ("name", keys("vol/vol0"));
}

TEST_F(FilesystemScanMountsTest, TenThousandRowsAskOncePerHostAndOnlyIfTold) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const std::string hosts[] = {"filer1", "FILER2", "nobody"};
    std::string rows;
    for (std::size_t i = 0; i < 10000; ++i)
        rows += hosts[i % 3] + ":/" + std::to_string(i) + " /m" + std::to_string(i) +
                " nfs rw 0 0\n";
    whileCovered(tree.path("etc"), "/etc", [&] {
        for (const bool resolve : {false, true}) {
            naMin = 1;
            EXPECT_EQ(0, trOpen(tree.path("trace"), false));
            mapped(rows, resolve);
            filesystem.filer = std::make_unique<NasFiler>();
            filesystem.filer->nfIPAddress = "Filer1";
            if (resolve)
                keys("/e");
            trClose(true);
            naMin = 0;
            EXPECT_EQ(resolve ? 10000U + 6667U : 10000U, map.size());
            std::size_t asked = 0;
            const std::string trace = tree.read("trace");
            for (const char* const answer : {"IP found = ", "getaddrinfo() failed."}) {
                for (std::size_t hit = trace.find(answer); hit != std::string::npos;
                     hit = trace.find(answer, hit + 1))
                    ++asked;
            }
            EXPECT_EQ(resolve ? 3U : 0U, asked);
        }
        agentStop = true;
        EXPECT_THROW(mapped(rows, true), ScanAbortException*);
        agentStop = false;
    });
}

}  // namespace
