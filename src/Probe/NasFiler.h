#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Common/EntityToObjectMapper.h"
#include "Probe/Domain.h"
#include "Probe/LdapTree.h"

class Filesystem;

/// A file server, as the request describes it.
struct NasFiler {
    NasFiler();
    ~NasFiler();
    NasFiler(const NasFiler&) = delete;
    NasFiler& operator=(const NasFiler&) = delete;

    /// A row that does not fit leaves the object as it is.
    void initializeObject(const Row& header, const Table& rows);

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
    std::unique_ptr<Filesystem> filesystem;  // the one that its entity holds
    std::string nfNameSpace;
    std::int32_t nfVersion = 2;
    std::unique_ptr<LdapTree> tree;  // may be null
};
