#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Common/Object.h"
#include "Scan/PackedTable.h"
#include "Scan/RangeCounts.h"
#include "Scan/SUserOrGroup.h"

class FileAttributes;
class RecordPacker;
class RecordUnpacker;

/// What every owner, or every group, uses on one file system. There can be millions, so an
/// owner takes 144 bytes and at most 16 for finding it, and is unpacked into an
/// SUserOrGroup when it is written.
class OwnerTable : public Object {
public:
    OwnerTable() noexcept : Object("OwnerTable") {}

    /// Adds an entry to the owner `number`.
    void add(std::int32_t number, const UserOrGroup* identity, const FileAttributes& file);

    /// Nothing is added any more: frees what only adding needs and stamps the records with
    /// the ids of file system and statistic and the start of the walk, in milliseconds.
    void complete(std::int32_t filesystemID, std::int32_t statisticID, std::int64_t timestamp);

    [[nodiscard]] bool empty() const { return usages.size() == 0; }

    /// Writes the records, from the highest number down. For a table that is complete.
    void printData(GenericPrint& out) const;

    // For a table that is complete.
    static void fields(const OwnerTable& self, RecordPacker& pack);
    static void fields(OwnerTable& self, RecordUnpacker& unpack);

private:
    struct Usage {
        explicit Usage(std::uint64_t key = 0) : number(static_cast<std::int32_t>(key)) {}
        [[nodiscard]] std::uint64_t key() const { return static_cast<std::uint32_t>(number); }

        void takeFile(std::int64_t size);

        /// All but the number.
        template <class Self, class Pack>
        static void fields(Self& self, Pack& pack) {
            pack(self.identity, self.totalSize, self.largestSize, self.secondLargestSize,
                 self.sizes, self.counts, self.directoryCount);
        }

        const UserOrGroup* identity = nullptr;  // not owned
        std::int64_t totalSize = 0;
        std::int64_t largestSize = 0;
        std::int64_t secondLargestSize = 0;
        std::array<std::int64_t, SizeRanges::kCount> sizes{};
        RangeCounts counts;
        std::int32_t number;
        std::int32_t directoryCount = 0;
    };

    [[nodiscard]] SUserOrGroup unpacked(const Usage& usage) const;

    PackedTable<Usage> usages;
    std::array<Usage*, 64> recents{};  // not owned; by the low bits of their numbers
    std::vector<std::uint32_t> order;  // positions in the table, highest number first
    SUserOrGroup stamp;                // what all records share
};
