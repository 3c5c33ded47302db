#include "Scan/InodeTable.h"

#include "common/ut/TraceScope.h"

std::size_t InodeTable::addStatistic() {
    TraceScope scope("InodeTable::addStatistic");
    const std::size_t statistic = marksOf.size();
    marksOf.push_back(0);
    if (statistic % kPerGroup == 0)
        groups.emplace_back();
    return statistic;
}

bool InodeTable::meet(std::size_t statistic, std::int64_t inodeNumber) {
    TraceScope scope("InodeTable::meet");
    Group& group = groups[statistic / kPerGroup];
    Inode& inode = group.inodes.findOrAdd(static_cast<std::uint64_t>(inodeNumber)).first;
    const std::uint32_t bit = 1U << (statistic % kPerGroup);
    if ((inode.metBy & bit) != 0)
        return true;
    inode.metBy |= bit;
    ++group.marks;
    ++marksOf[statistic];
    return false;
}

void InodeTable::forget(std::size_t statistic) {
    TraceScope scope("InodeTable::forget");
    if (marksOf[statistic] == 0)
        return;
    Group& group = groups[statistic / kPerGroup];
    group.marks -= marksOf[statistic];
    marksOf[statistic] = 0;
    if (group.marks == 0) {
        group.inodes.clear();
        return;
    }
    const std::uint32_t bit = 1U << (statistic % kPerGroup);
    for (std::size_t position = 0; position < group.inodes.size(); ++position)
        group.inodes[position].metBy &= ~bit;
}
