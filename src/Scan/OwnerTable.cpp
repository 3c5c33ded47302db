#include "Scan/OwnerTable.h"

#include "Scan/FileAttributes.h"
#include "Scan/RecordPacking.h"
#include "Scan/wrapCount.h"
#include "common/ut/TraceScope.h"
#include "common/ut/wrapAdd.h"

void OwnerTable::Usage::takeFile(std::int64_t size) {
    if (size > largestSize) {
        secondLargestSize = largestSize;
        largestSize = size;
    } else if (size > secondLargestSize) {
        secondLargestSize = size;
    }
    const std::size_t range = SizeRanges::bucket(size);
    sizes[range] = wrapAdd(sizes[range], size);
    counts.add(range, 1);
}

void OwnerTable::add(std::int32_t number, const UserOrGroup* identity,
                     const FileAttributes& file) {
    TraceScope scope("OwnerTable::add");
    Usage*& recent = recents[static_cast<std::uint32_t>(number) % recents.size()];
    if (!recent || recent->number != number) {
        const auto [usage, isNew] = usages.findOrAdd(static_cast<std::uint32_t>(number));
        if (isNew)
            usage.identity = identity;
        recent = &usage;
    }
    recent->totalSize = wrapAdd(recent->totalSize, file.faBlocks);
    if (file.isFileOrLink())
        recent->takeFile(file.faBlocks);
    else if (file.faType == FA_DIRECTORY)
        recent->directoryCount = oneMore(recent->directoryCount);
}

void OwnerTable::complete(std::int32_t filesystemID, std::int32_t statisticID,
                          std::int64_t timestamp) {
    TraceScope scope("OwnerTable::complete");
    usages.dropIndex();
    order = usages.sortedPositions(
        [](const Usage& left, const Usage& right) { return left.number > right.number; });
    stamp.sugFilesystemID = filesystemID;
    stamp.sugStatisticID = statisticID;
    stamp.sugTimestamp = timestamp;
}

void OwnerTable::printData(GenericPrint& out) const {
    TraceScope scope("OwnerTable::printData");
    for (const std::uint32_t position : order)
        unpacked(usages[position]).printData(out);
}

void OwnerTable::fields(const OwnerTable& self, RecordPacker& pack) {
    TraceScope scope("OwnerTable::fields");
    pack(self.stamp.sugFilesystemID, self.stamp.sugStatisticID, self.stamp.sugTimestamp,
         self.order.size());
    for (const std::uint32_t position : self.order)
        pack(self.usages[position].number, self.usages[position]);
}

void OwnerTable::fields(OwnerTable& self, RecordUnpacker& unpack) {
    TraceScope scope("OwnerTable::fields");
    std::size_t count = 0;
    unpack(self.stamp.sugFilesystemID, self.stamp.sugStatisticID, self.stamp.sugTimestamp,
           count);
    for (std::uint32_t position = 0; position < count; ++position) {
        std::uint32_t number = 0;
        unpack(number);
        unpack(self.usages.findOrAdd(number).first);
        self.order.push_back(position);
    }
}

SUserOrGroup OwnerTable::unpacked(const Usage& usage) const {
    TraceScope scope("OwnerTable::unpacked");
    SUserOrGroup record = stamp;
    record.sugIdentity = usage.identity;
    record.sugTotalSize = usage.totalSize;
    record.sugDirectoryCount = usage.directoryCount;
    record.sugLargestSize = usage.largestSize;
    record.sug2ndLargestSize = usage.secondLargestSize;
    record.sugSizes = usage.sizes;
    std::int64_t files = 0;
    for (std::size_t range = 0; range < SizeRanges::kCount; ++range)
        files += record.sugCounts[range] = usage.counts[range];
    record.sugFileCount = static_cast<std::int32_t>(files);
    return record;
}
