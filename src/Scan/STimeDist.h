#pragma once

#include <array>
#include <cstdint>

#include "Common/Object.h"

class GenericPrint;

/// Which time an STimeDist tells of.
enum TimeType : std::int16_t {
    TD_ACCESSED = 0,
    TD_MODIFIED = 3,
    TD_CREATED = 6,
    TD_BACKUP = 9,
};

/// How old the entries of one statistic on one file system are.
class STimeDist : public Object {
public:
    static constexpr std::size_t kRanges = 10;

    STimeDist() noexcept : Object("STimeDist") {}

    static void printHeader(GenericPrint& out);
    void printData(GenericPrint& out) const;

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        pack(self.tdFilesystemID, self.tdStatisticID, self.tdType, self.tdScanTime,
             self.tdAverageAge, self.tdAccumCount, self.tdHistType, self.tdSizes,
             self.tdCounts);
    }

    std::int32_t tdFilesystemID = 0;
    std::int32_t tdStatisticID = 0;
    std::int16_t tdType = TD_ACCESSED;
    std::int64_t tdScanTime = 0;                   // milliseconds, in whole seconds
    std::int64_t tdAverageAge = 0;                 // seconds
    std::int64_t tdAccumCount = 0;                 // filled by the server, like the next
    std::int16_t tdHistType = 0;                   //
    std::array<std::int64_t, kRanges> tdSizes{};   // in units of 512 bytes, by age range
    std::array<std::int64_t, kRanges> tdCounts{};  // entries, by age range
};
