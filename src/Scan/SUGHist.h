#pragma once

#include <cstdint>

#include "Common/Object.h"

class GenericPrint;
class UserOrGroup;

/// What one owner or group uses on one file system, as its history keeps it.
class SUGHist : public Object {
public:
    static void printHeader(GenericPrint& out);

    std::int32_t sugFilesystemID = 0;
    std::int32_t sugStatisticID = 0;
    const UserOrGroup* sugIdentity = nullptr;  // not owned; valid during the scan
    std::int32_t sugFileCount = 0;             // regular files and symbolic links; wraps
    std::int64_t sugTotalSize = 0;             // of all entries, in units of 512 bytes
    std::int64_t sugTimestamp = 0;             // start of the walk, milliseconds
    std::int16_t sugAccumCount = 0;            // filled by the server, like the next
    std::int16_t sugType = 0;

protected:
    explicit SUGHist(const char* name) noexcept : Object(name) {}
};
