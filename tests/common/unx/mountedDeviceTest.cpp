#include <cstdint>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <utility>

#include <gtest/gtest.h>

#include "common/unx/mountedDevice.h"
#include "support/TempTree.h"

TEST(mountedDeviceTest, TheLastOfTheDeepestMountsHoldsAPath) {
    const TempTree tree;
    tree.write("table",
               "21 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
               "22 21 0:30 / /mnt/a rw - nfs host:/a rw\n"
               "cut off\n"
               "23 21 0:31 / /mnt/a\\040b\\134 rw - nfs host:/b rw\n"
               "24 21 0:32 / /mnt/a rw - nfs host:/c rw\n"
               "25 24 0:300 / /mnt/a/deep rw - fuse x rw\n");
    const std::pair<std::string, std::uint64_t> kCases[] = {
        {"/",        makedev(8,  1)},
        {"/mnt/ab",          makedev(8,            1)},
        {"/mnt/a",        makedev(0,       32)},
        {"/mnt/a/x",makedev(0,32)},
        {"/mnt/a b\\/x", makedev(0,         31)},
        {"/mnt/a/deep/x",          makedev(0,       300)},
        {"relative",       0        },
    };
    for (const auto& [path, device] : kCases)
        EXPECT_EQ(device, mountedDevice(path, tree.path("table"))) << path;
    EXPECT_EQ(0U, mountedDevice("/", tree.path("none")));

    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const TestMount mount = TestMount::tmpfs(tree.root());
    struct stat status {};
    stat(tree.root().c_str(), &status);
    EXPECT_EQ(status.st_dev, mountedDevice(tree.path("f")));
}
