#pragma once

#include <cstdint>
#include <vector>

#include "Common/Object.h"
#include "Scan/PackedTable.h"

/// The inodes of several links that the statistics of a walk have met, each statistic by
/// itself. Statistics that run together share a table: for each 32 of them an inode takes
/// 12 bytes and its share of an index, 24 in all at most.
class InodeTable : public Object {
public:
    InodeTable() noexcept : Object("InodeTable") {}

    /// Makes room for one more statistic and returns its number here.
    [[nodiscard]] std::size_t addStatistic();

    /// True if the statistic has met the inode before; remembers that it has now.
    [[nodiscard]] bool meet(std::size_t statistic, std::int64_t inodeNumber);

    /// Forgets what the statistic has met. Takes one look at every inode that the
    /// statistics beside it have met too, and none if they have met nothing.
    void forget(std::size_t statistic);

private:
    static constexpr std::size_t kPerGroup = 32;

    /// In words of 32 bits, so that nothing is lost to alignment.
    class Inode {
    public:
        explicit Inode(std::uint64_t number = 0)
            : low(static_cast<std::uint32_t>(number)),
              high(static_cast<std::uint32_t>(number >> 32U)) {}

        [[nodiscard]] std::uint64_t key() const { return std::uint64_t{high} << 32U | low; }

        std::uint32_t metBy = 0;  // a bit per statistic of the group

    private:
        std::uint32_t low;
        std::uint32_t high;
    };

    struct Group {
        PackedTable<Inode> inodes;
        std::uint64_t marks = 0;  // bits that are set
    };

    std::vector<Group> groups;           // of kPerGroup statistics each
    std::vector<std::uint64_t> marksOf;  // by statistic, the inodes it has met
};
