#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Common/EntityToObjectMapper.h"
#include "Probe/Domain.h"
#include "Probe/LdapTree.h"

class Filesystem;
class GenericPrint;

/// A file server, as the request describes it. Its lists are put together and used up while
/// a request is arranged; see FilesystemScan::arrangeFilesystems().
struct NasFiler {
    NasFiler();
    ~NasFiler();
    NasFiler(const NasFiler&) = delete;
    NasFiler& operator=(const NasFiler&) = delete;

    /// A row that does not fit leaves the object as it is. A record that printData() wrote
    /// comes back without its name space.
    void initializeObject(const Row& header, const Table& rows);

    static void printHeader(GenericPrint& out);
    void printData(GenericPrint& out) const;

    /// The name of the first domain; empty if there is none.
    [[nodiscard]] std::string filerDomain() const;

    /// The network name, or the plain one if the filer's domain is not that of this host.
    /// Asks the resolver.
    [[nodiscard]] std::string networkName() const;

    NasFiler* next = nullptr;       // not owned; the next filer of the same tree
    std::int32_t nfComputerID = 0;  // the same computer, the same filer
    std::int32_t nfNameFormat = 0;
    std::string nfName;
    std::string nfNetworkName;
    std::string nfAlias;
    std::string nfIPAddress;
    std::string nfManufacturer;
    std::int16_t nfOSType = 0;
    std::string nfCIMOM;
    std::vector<std::unique_ptr<Domain>> domains;
    std::unique_ptr<Filesystem> filesystem;  // the one that its entity holds; not scanned
    Filesystem* filesystems = nullptr;       // not owned; those to be scanned
    std::string nfNameSpace;
    std::int32_t nfVersion = 2;
    std::shared_ptr<LdapTree> tree;  // may be null; filers without one come to share one
};
