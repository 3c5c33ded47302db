#include <gtest/gtest.h>

#include "Common/InetAddress.h"
#include "support/ownNamespace.h"

TEST(InetAddressTest, AsksTheResolverAndBearsEveryAnswer) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const TempTree tree;
    writeResolver(tree, "etc", "192.0.2.7 filer1.example.net filer1\n2001:DB8::1 six\n");
    whileCovered(tree.path("etc"), "/etc", [] {
        EXPECT_EQ("192.0.2.7", InetAddress::getHostAddress("filer1"));
        EXPECT_EQ("192.0.2.9", InetAddress::getHostAddress("192.0.2.9"));
        EXPECT_EQ("2001:db8::1", InetAddress::getHostAddress("six"));
        for (const std::string& nobody :
             {std::string(), std::string("nobody"), std::string("[2001:db8::1]"),
              std::string(" \n"), std::string(1 << 20, 'x')}) {
            EXPECT_EQ("", InetAddress::getHostAddress(nobody));
            EXPECT_FALSE(InetAddress::isIPv6(nobody));
            EXPECT_FALSE(InetAddress(nobody).determineIPAddress());
            EXPECT_EQ(nobody, InetAddress(nobody).getCanonicalHostName());
        }
        EXPECT_TRUE(InetAddress::isIPv6("six") && InetAddress::lookUp("six").firstIsIPv6);
        EXPECT_FALSE(InetAddress::isIPv6("filer1") ||
                     InetAddress::lookUp("filer1").firstIsIPv6);

        InetAddress filer("filer1");
        EXPECT_TRUE(filer.determineIPAddress());
        EXPECT_EQ("192.0.2.7", filer.getIpAddress());
        EXPECT_EQ("filer1.example.net", filer.getCanonicalHostName());
    });
}
