#pragma once

#include <array>

#include "Scan/SUGHist.h"
#include "Scan/SizeRanges.h"

/// What one owner or group uses on one file system. Sizes are in units of 512 bytes; all
/// but the total are of regular files and symbolic links alone.
class SUserOrGroup : public SUGHist {
public:
    SUserOrGroup() noexcept : SUGHist("SUserOrGroup") {}

    static void printHeader(GenericPrint& out);
    void printData(GenericPrint& out) const;

    std::int32_t sugDirectoryCount = 0;
    std::int32_t sugOtherCount = 0;   // never filled
    std::int64_t sugUnusedSpace = 0;  // filled by the server
    std::int64_t sugLargestSize = 0;
    std::int64_t sug2ndLargestSize = 0;
    std::array<std::int64_t, SizeRanges::kCount> sugSizes{};   // by size range
    std::array<std::int64_t, SizeRanges::kCount> sugCounts{};  // by size range
};
