#include <gtest/gtest.h>

#include "Common/InetAddress.h"
#include "support/ownNamespace.h"

// Addresses are those of FilesystemScanMountsTest.
TEST(InetAddressTest, AsksTheResolverAndBearsEveryAnswer) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    withHosts("192.0.2.7 filer1.example.net filer1\n", [] {
        EXPECT_EQ("filer1.example.net", InetAddress("filer1").getCanonicalHostName());
        for (const auto& nobody : {std::string(), std::string(1 << 20, 'x')}) {
            EXPECT_FALSE(InetAddress(nobody).determineIPAddress());
            EXPECT_EQ(nobody, InetAddress(nobody).getCanonicalHostName());
        }
    });
}
