#pragma once

#include <array>
#include <cstdint>

#include "Common/EntityToObjectMapper.h"
#include "Scan/SizeRanges.h"

class GenericPrint;

/// How large the entries of one statistic on one file system are.
class SSizeDist : public EntityToObjectMapper {
public:
    /// The job makes these objects itself; a definition holds none.
    void inititializeObject(const Row& header, const Table& rows) override;

    static void printHeader(GenericPrint& out);
    void printData(GenericPrint& out) const;

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        pack(self.szdFilesystemID, self.szdStatisticID, self.szdSizes, self.szdCounts);
    }

    std::int32_t szdFilesystemID = 0;
    std::int32_t szdStatisticID = 0;
    std::array<std::int64_t, SizeRanges::kCount> szdSizes{};   // units of 512 bytes, by range
    std::array<std::int64_t, SizeRanges::kCount> szdCounts{};  // entries, by size range
};
