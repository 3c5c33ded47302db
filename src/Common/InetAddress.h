#pragma once

#include <string>

/// Names and addresses of hosts, as the platform's resolver knows them (getaddrinfo(3)).
///
///     InetAddress server("filer1");
///     if (server.determineIPAddress())
///         ... server.getIpAddress() ...
///
/// A question takes as long as the resolver lets it: with a dead name service its time-out.
/// What cannot be found is traced and gives an empty text. Any thread.
class InetAddress {
public:
    /// What one question to the resolver tells.
    struct Host {
        std::string address;       // numeric, the first that has a text; or empty
        bool firstIsIPv6 = false;  // of the first address, with or without a text
    };

    explicit InetAddress(std::string host);

    /// True if an address was found; getIpAddress() gives it from then on.
    [[nodiscard]] bool determineIPAddress();
    [[nodiscard]] const std::string& getIpAddress() const { return ipAddress; }

    /// The fully qualified name; the name as it was given if there is none.
    [[nodiscard]] std::string getCanonicalHostName() const;

    [[nodiscard]] static Host lookUp(const std::string& pHost);

    /// The address alone.
    [[nodiscard]] static std::string getHostAddress(const std::string& pHost);

    /// True if the first address at which the host takes connections is of IPv6.
    [[nodiscard]] static bool isIPv6(const std::string& pHost);

private:
    std::string hostName;
    std::string ipAddress;
};
