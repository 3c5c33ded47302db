#pragma once

#include <cstdint>

#include "Common/Object.h"

/// Totals of one statistic on one file system, as its history keeps them. Space and sizes
/// are in units of 512 bytes.
class SSummaryHist : public Object {
public:
    SSummaryHist() noexcept : Object("SSummaryHist") {}

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        pack(self.sumFilesystemID, self.sumStatisticID, self.sumCapacity, self.sumFreeSpace,
             self.sumUsedSpace, self.sumTotalSize, self.sumFileCount, self.sumScanTime,
             self.sumAccumCount, self.sumType);
    }

    std::int32_t sumFilesystemID = 0;
    std::int32_t sumStatisticID = 0;
    std::int64_t sumCapacity = 0;
    std::int64_t sumFreeSpace = 0;
    std::int64_t sumUsedSpace = 0;
    std::int64_t sumTotalSize = 0;   // of all entries
    std::int64_t sumFileCount = 0;   // regular files and symbolic links
    std::int64_t sumScanTime = 0;    // milliseconds since the epoch, in whole seconds
    std::int16_t sumAccumCount = 0;  // filled by the server, like the next
    std::int16_t sumType = 0;

protected:
    explicit SSummaryHist(const char* name) noexcept : Object(name) {}
};
