#include "Common/unix/pssignal.h"
#include "Probe/Mounts.h"
#include "Scan/FilesystemScan.h"
#include "support/LogTest.h"
#include "support/ownNamespace.h"

namespace {

constexpr char kHosts[] = "192.0.2.7 filer1\n192.0.2.8 filer2\n2001:DB8::1 six\n";

class FilesystemScanMountsTest : public LogTest {
protected:
    /// The map of a table of these rows: "key at mount point" each, sorted by key.
    std::string mapped(const std::string& rows, bool resolve, bool understood = true) {
        tree.write("mtab", rows);
        FilesystemScan::MountsMap map;
        Mounts table(tree.path("mtab"));
        table.nameClusters(0);
        EXPECT_EQ(understood, scan.handleMounts(map, table, resolve));
        std::string text;
        for (const auto& [key, row] : map)
            text += key + " at " + row->mountPoint + "\n";
        return text;
    }

    FilesystemScan scan;
};

TEST_F(FilesystemScanMountsTest, EveryRowHasItsKeyAndTheFirstOfAKeyStays) {
    tree.mkdirp("cluster/c1");
    const std::string cluster = tree.path("cluster");
    EXPECT_EQ("/a b\n\" at /a b\n\"\nc1 at " + cluster + "\nf.net:/E:/x at /first\n",
              mapped("any " + cluster +
                         " gridfs\nh:/e /a\\040b\\012\" fuse.nfs\n"
                         "F.NET:/E:/x /first nfs4\nf.net:/E:/x /second nfs\n",
                     false));
    EXPECT_EQ("/a at /a\n", mapped(":/e /m nfs\nforged\\012line /m nfs\n"
                                   "/dev/a /a xfs\n/dev/b /a xfs\n",
                                   false, false));
    EXPECT_TRUE(logged("NAA0039W", ": forged line"));
}

TEST_F(FilesystemScanMountsTest, AnImportIsFoundUnderTheAddressOfItsHostToo) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    withHosts(kHosts, [this] {
        const char* const rows =
            "FILER1:/a /1 nfs\nfiler2:/b /2 nfs\n192.0.2.8:/b /3 nfs\n"
            "six:/c /4 nfs4\nnobody:/d /5 nfs\n";
        EXPECT_EQ(
            "192.0.2.7:/a at /1\n192.0.2.8:/b at /3\n[2001:db8::1]:/c at /4\n"
            "filer1:/a at /1\nfiler2:/b at /2\nnobody:/d at /5\nsix:/c at /4\n",
            mapped(rows, true));
        agentStop = true;
        try {
            ADD_FAILURE() << mapped(rows, true);
        } catch (ScanAbortException* thrown) {
            delete thrown;
        }
        agentStop = false;
    });
}

}  // namespace
