#include <gtest/gtest.h>

#include "Common/InetAddress.h"
#include "support/ownNamespace.h"

TEST(InetAddressTest, AsksTheResolverAndBearsEveryAnswer) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    withHosts("192.0.2.7 filer1.example.net filer1\n2001:DB8::1 six\n", [] {
        EXPECT_TRUE(InetAddress::isIPv6("six") && !InetAddress::isIPv6("filer1"));
        EXPECT_EQ("192.0.2.7", InetAddress::getHostAddress("filer1"));
        EXPECT_EQ("filer1.example.net", InetAddress("filer1").getCanonicalHostName());
        for (const auto& nobody : {std::string(), std::string(1 << 20, 'x')}) {
            EXPECT_FALSE(InetAddress::isIPv6(nobody) ||
                         InetAddress(nobody).determineIPAddress());
            EXPECT_EQ(nobody, InetAddress(nobody).getCanonicalHostName());
        }
    });
}
