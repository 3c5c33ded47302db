#pragma once

#include <cstdint>
#include <string>

#include "Common/EntityToObjectMapper.h"

class GenericPrint;

/// The directory tree that a filer belongs to; file systems are walked tree by tree. A row
/// that does not fit leaves the object as it is.
struct LdapTree {
    std::int32_t ltTreeID = 0;
    std::int32_t ltComputerID = 0;
    std::string ltName;
    std::string ltLdapUser;  // only carried, like the next
    std::string ltPassword;

    void initializeObject(const Row& header, const Table& rows);
    static void printHeader(GenericPrint& out);
    void printData(GenericPrint& out) const;
};
