#pragma once

#include <cstdint>
#include <string>

#include "Common/EntityToObjectMapper.h"

class GenericPrint;

/// A domain that a filer belongs to. A row that does not fit leaves the object as it is.
struct Domain {
    std::int32_t domID = 0;
    std::string domName;
    std::int32_t domTreeID = 0;

    void initializeObject(const Row& header, const Table& rows);
    static void printHeader(GenericPrint& out);
    void printData(GenericPrint& out) const;
};
