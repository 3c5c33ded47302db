#include <csignal>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <thread>

#include "Common/GenericException.h"
#include "Probe/Filesystem.h"
#include "Probe/Mounts.h"
#include "support/HangingMount.h"
#include "support/LogTest.h"
#include "support/inChild.h"

namespace {

class MountsTest : public LogTest {
protected:
    /// The rows of a mount table: "device|mount point|type|options", a line for each.
    /// With a time-out below 0 clusters are not asked for.
    std::string rows(const std::string& text, int nfsTimeout = 0) const {
        tree.write("mtab", text);
        Mounts row(tree.path("mtab"));
        if (nfsTimeout >= 0)
            row.nameClusters(nfsTimeout);
        std::string t = row.openMnttab() ? "" : "not open";
        while (row.nextMount())
            t += row.device + "|" + row.mountPoint + "|" + row.type + "|" + row.options + "\n";
        return t;
    }
    int physicalSize(const std::string& device, const std::string& type) {
        Mounts row;
        row.device = tree.path(device);
        row.type = type;
        return Mounts::GetPhysicalSize(filesystem, row, 5);
    }

    Filesystem filesystem;
};

TEST_F(MountsTest, ReadsTheRowsThatAreStorage) {
    const std::string overLong = "/b /b xfs " + std::string(2000, 'x') + " 0 0\n";
    EXPECT_EQ(
        "/dev/a|/a b|ext4|\n/b|/b|xfs|\n/dev/l|/l|ext4|loop bind\nmap|/m|autofs4|\n",
        rows("# comment\nproc /proc proc rw 0 0\n/dev/a /a\\040b ext4 rw 0 0\n" + overLong +
             "/dev/l /l ext4 rw,bind,loop=/dev/loop0 0 0\nx /x vxodmfs rw 0 0\n"
             "x none swap sw 0 0\nmap /m autofs4 rw 0 0\nx /x auto rw 0 0"));
    // Of a row that is longer than the buffer only one whose type was read counts.
    const std::string last = std::string(2000, 'x') + " /d /f\n\nh:/a\\043b /m nfs4 rw 0 0\n";
    for (const std::size_t length : {1012U, 1013U, 1014U, 1018U, 65536U}) {
        const std::string place = "/m/" + std::string(length, 'x');
        const std::string counts = length == 1012 ? "/d|" + place + "|nfs4|\n" : "";
        EXPECT_TRUE(rows("/d " + place + (" nfs4\nonly\n" + last)) ==
                    counts + "h:/a#b|/m|nfs4|\n")
            << length;
    }
    EXPECT_FALSE(Mounts(tree.path("none")).openMnttab());
    EXPECT_TRUE(
        logged("STA0094E", "opened: " + tree.path("none") + " - No such file or directory"));
}

TEST_F(MountsTest, AStopEndsTheWaitForALock) {
    tree.write("mtab", "/d /m xfs rw 0 0\n");
    // A lock is a process's own: another one holds it.
    const pid_t holder = fork();
    if (holder == 0) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        const int fd = open(tree.path("mtab").c_str(), O_RDWR);
        if (fcntl(fd, F_SETLK, &lock) == 0)
            tree.write("locked", "");
        for (;;)
            pause();
    }
    while (!tree.exists("locked"))
        usleep(1000);
    EXPECT_EQ(7, inStoppedChild([this] {
                  try {
                      return Mounts(tree.path("mtab")).openMnttab() ? 1 : 2;
                  } catch (ScanAbortException* thrown) {
                      delete thrown;
                      return 7;
                  }
              }));
    std::thread release([holder] {
        usleep(200000);
        kill(holder, SIGKILL);
    });
    EXPECT_TRUE(Mounts(tree.path("mtab")).openMnttab()) << "and it waits as long as it takes";
    release.join();
    waitpid(holder, nullptr, 0);
}

TEST_F(MountsTest, AClusterIsNamedByItsFirstDirectory) {
    tree.mkdirp("full/.hidden");
    tree.mkdirp("full/cluster1");
    tree.touch("full/file");
    tree.mkdirp("empty");
    tree.mkdirp("many");
    for (int i = 0; i < 300; ++i)
        tree.touch("many/" + std::string(100, 'x') + std::to_string(i));
    const std::string full = "any " + tree.path("full") + " grfs2 rw 0 0\n";
    const std::string row = "cluster1|" + tree.path("full") + "|gridfs|\n";
    for (const int nfsTimeout : {0, 5}) {
        for (const char* const unnamed : {"empty", "full/.hidden", "many"}) {
            const std::string bad = "any " + tree.path(unnamed) + " gridfs rw 0 0\n";
            EXPECT_EQ(row, rows(full + bad + full, nfsTimeout)) << unnamed;
            EXPECT_TRUE(logged("STA0622E", "No cluster name was found."));
        }
    }
    EXPECT_EQ("", rows("any /no/such gridfs rw 0 0\n" + full));
    EXPECT_NE(std::string::npos, tree.read("log").find("STA0620E"));
}

TEST_F(MountsTest, AMountThatHangsIsAskedOnlyIfItsNameIsWanted) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    tree.mkdirp("hung");
    const HangingMount server(tree.path("hung"), 1);
    const std::string table =
        "any " + tree.path("hung") + " gridfs rw 0 0\n/dev/a /a xfs rw 0 0\n";
    const std::string named = "sub|" + tree.path("hung") + "|gridfs|\n/dev/a|/a|xfs|\n";
    EXPECT_EQ(named, rows(table, 1));
    server.tell("hold *");
    EXPECT_EQ("/dev/a|/a|xfs|\n", rows(table, -1));
    EXPECT_FALSE(tree.exists("log"));
    EXPECT_EQ("", rows(table, 1));
    const std::string report = "could not be read: Stale file handle\n";
    EXPECT_NE(std::string::npos, tree.read("log").find(report)) << tree.read("log");
    server.tell("hold sub");
    EXPECT_EQ("", rows(table, 1));
    server.tell("hold 0");
    EXPECT_EQ(4, [&] {
        Mounts device;
        device.device = tree.path("hung/0");
        device.type = "ext4";
        return Mounts::GetPhysicalSize(filesystem, device, 1);
    }());
    EXPECT_TRUE(logged("STA0097E", "/hung/0 - Stale file handle"));
    server.tell("answer .");
    EXPECT_EQ(named, rows(table, 1));
}

TEST_F(MountsTest, FillsTheSpaceFigures) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    tree.mkdirp("m");
    const TestMount mounted = TestMount::tmpfs(tree.path("m"));
    tree.touch("m/file", 100000);
    struct statvfs expected {};
    ASSERT_EQ(0, statvfs(tree.path("m").c_str(), &expected));
    const std::uint64_t units = expected.f_frsize / 512;
    Mounts row;
    row.mountPoint = tree.path("m");
    for (const int nfsTimeout : {0, 5}) {
        row.type = nfsTimeout == 0 ? "tmpfs" : "vxfs";  // which keeps the inode figures
        Filesystem f;
        ASSERT_EQ(0, row.statFS(f, nfsTimeout));
        EXPECT_EQ(expected.f_blocks * units, static_cast<std::uint64_t>(f.fsCapacity));
        EXPECT_EQ(expected.f_bavail * units, static_cast<std::uint64_t>(f.fsFreeSpace));
        EXPECT_EQ(f.fsCapacity - f.fsFreeSpace, f.fsUsedSpace);
        EXPECT_EQ(nfsTimeout == 0 ? 2 : 0, f.fsUsedInodes);
    }
    row.mountPoint = "/no/such";
    EXPECT_EQ(12, row.statFS(filesystem, 0));
    EXPECT_TRUE(logged("STA0096E", "/no/such - No such file or directory"));
}

TEST_F(MountsTest, ReadsTheSizeOfADeviceInItsSuperBlock) {
    const auto size = [&](std::uint32_t blocks, std::uint32_t exponent) {
        std::string device(1024 + 256, '\0');
        for (unsigned i = 0; i < 4; ++i) {
            device[1028 + i] = static_cast<char>(blocks >> 8 * i);
            device[1048 + i] = static_cast<char>(exponent >> 8 * i);
        }
        tree.write("device", device);
        EXPECT_EQ(0, physicalSize("device", "ext4"));
        return filesystem.fsPhysicalSize;
    };
    EXPECT_EQ(800, size(100, 2));
    EXPECT_EQ(-2147483648, size(0x40000000, 0)) << "a size has 32 bits and a sign";
    EXPECT_EQ(0, size(1, 31) + size(1, 0xFFFFFFFF));
    tree.touch("short", 1024 + 255);
    tree.mkfifo("fifo");
    EXPECT_EQ(8, physicalSize("short", "fat"));
    EXPECT_EQ(4, physicalSize("none", "msdos"));
    EXPECT_EQ(8, physicalSize("fifo", "ext3"));
    EXPECT_TRUE(logged("STA0098E", "ext3 - Illegal seek"));
}

}  // namespace
