#include "Common/InetAddress.h"

#include <array>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <utility>

#include "common/ut/TraceScope.h"

namespace {

struct FreeAddresses {
    void operator()(struct addrinfo* list) const noexcept { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<struct addrinfo, FreeAddresses>;

/// The addresses of the host in the resolver's order: 0, or a code of getaddrinfo(3).
int findAddresses(const std::string& host, const struct addrinfo* hints, AddressList& list) {
    TraceScope scope("findAddresses");
    struct addrinfo* found = nullptr;
    const int rc = getaddrinfo(host.c_str(), nullptr, hints, &found);
    if (rc == 0)
        list.reset(found);
    return rc;
}

/// The name of an address in the form that `flags` ask for; empty after a failure.
std::string nameOf(const struct addrinfo& address, int flags) {
    TraceScope scope("nameOf");
    std::array<char, NI_MAXHOST> name{};
    if (getnameinfo(address.ai_addr, address.ai_addrlen, name.data(), name.size(), nullptr, 0,
                    flags) == 0)
        return name.data();
    trTrace(naMin, "getnameinfo() failed.\n");
    return {};
}

const char* familyText(int family) {
    switch (family) {
        case AF_INET:
            return ">> Address family: Internet IP Protocol.\n";
        case AF_INET6:
            return ">> Address family: IP version 6.\n";
        case AF_UNSPEC:
            return ">> Address family: Not specified.\n";
        default:
            return ">> Address family: other.\n";
    }
}

}  // namespace

InetAddress::InetAddress(std::string host) : hostName(std::move(host)) {}

bool InetAddress::determineIPAddress() {
    TraceScope scope("InetAddress::determineIPAddress");
    ipAddress = getHostAddress(hostName);
    return !ipAddress.empty();
}

std::string InetAddress::getCanonicalHostName() const {
    TraceScope scope("InetAddress::getCanonicalHostName");
    if (hostName.empty()) {
        trTrace(naMin, "Unable to retrieve FQDN.  hostName is empty.\n");
        return {};
    }
    struct addrinfo hints {};
    hints.ai_flags = AI_CANONNAME;
    AddressList list;
    if (findAddresses(hostName, &hints, list) != 0) {
        trTrace(naMin, "getaddrinfo() failed.\n");
        return hostName;
    }
    const std::string name = nameOf(*list, NI_NAMEREQD);
    return name.empty() ? hostName : name;
}

InetAddress::Host InetAddress::lookUp(const std::string& pHost) {
    TraceScope scope("InetAddress::lookUp");
    if (pHost.empty()) {
        trTrace(naMin, "Specified hostname (pHost) is empty.\n");
        return {};
    }
    AddressList list;
    if (findAddresses(pHost, nullptr, list) != 0) {
        trTrace(naMin, "getaddrinfo() failed.\n");
        return {};
    }
    Host host;
    host.firstIsIPv6 = list->ai_family == AF_INET6;
    for (const struct addrinfo* address = list.get(); address && host.address.empty();
         address = address->ai_next) {
        trTrace(naMin, "%s", familyText(address->ai_family));
        if (address->ai_family == AF_INET || address->ai_family == AF_INET6)
            host.address = nameOf(*address, NI_NUMERICHOST);
    }
    if (!host.address.empty())
        trTrace(naMin, "IP found = %s\n", host.address.c_str());
    return host;
}

std::string InetAddress::getHostAddress(const std::string& pHost) {
    TraceScope scope("InetAddress::getHostAddress");
    return lookUp(pHost).address;
}

bool InetAddress::isIPv6(const std::string& pHost) {
    TraceScope scope("InetAddress::isIPv6");
    struct addrinfo hints {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    AddressList list;
    const int rc = findAddresses(pHost, &hints, list);
    if (rc != 0)
        trTrace(naMin, "Could not get address information for host %s; rc = %d\n",
                pHost.c_str(), rc);
    return rc == 0 && list->ai_family == AF_INET6;
}
