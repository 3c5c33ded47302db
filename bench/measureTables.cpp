/// Prints how many bytes an inode of several links, an extension, an owner and a monitored
/// directory take: when the table is full, and at the worst moment before. Every byte of the
/// heap counts, with what the allocator adds.
///
/// usage: measure_tables

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <new>

#include "Probe/Filesystem.h"
#include "Scan/Activator.h"
#include "Scan/CuStatDef.h"
#include "Scan/FileAttributes.h"
#include "Scan/FileTypeAccum.h"
#include "Scan/InodeTable.h"
#include "Scan/MonDirAccum.h"
#include "Scan/OwnerTable.h"
#include "Scan/UserOrGroup.h"
#include "Scan/unix/ScannerUnix.h"

namespace {

constexpr std::size_t kAllocatorHeader = 8;  // bytes in front of each block
std::size_t inUse = 0;
std::size_t peak = 0;  // of it

void* allocate(std::size_t bytes) {
    void* const block = std::malloc(bytes);
    if (!block)
        throw std::bad_alloc();
    inUse += malloc_usable_size(block) + kAllocatorHeader;
    peak = std::max(peak, inUse);
    return block;
}

void release(void* block) {
    if (block)
        inUse -= malloc_usable_size(block) + kAllocatorHeader;
    std::free(block);
}

}  // namespace

void* operator new(std::size_t bytes) {
    return allocate(bytes);
}
void* operator new[](std::size_t bytes) {
    return allocate(bytes);
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}

namespace {

constexpr std::size_t kFirst = 10000;  // members, before which blocks are not yet filled

/// Adds so many members and prints what a member takes at its most expensive, while the
/// table grows, and in the end.
template <class Add>
void measure(const char* name, std::size_t number, Add add) {
    const std::size_t before = inUse;
    double most = 0;
    for (std::size_t i = 0; i < number; ++i) {
        peak = inUse;
        add(i);
        if (i >= kFirst)
            most =
                std::max(most, static_cast<double>(peak - before) / static_cast<double>(i + 1));
    }
    std::printf("%-12s %9zu %9.1f %9.1f\n", name, number, most,
                static_cast<double>(inUse - before) / static_cast<double>(number));
}

/// A statistic with all that can be asked for, rankings of 30 places among it.
void askForAll(CuStatDef& statistic) {
    for (const auto ranking : {&CuStatDef::sdLargestDirectories, &CuStatDef::sdLargestFiles,
                               &CuStatDef::sdLeastAccessed, &CuStatDef::sdOldestNotBackedUp,
                               &CuStatDef::sdLargestOrphans, &CuStatDef::sdOldestOrphans,
                               &CuStatDef::sdLargestFileTypes})
        statistic.*ranking = 30;
    for (const auto table : {&CuStatDef::sdSizeDistribution, &CuStatDef::sdGroupByAccess,
                             &CuStatDef::sdGroupByMod, &CuStatDef::sdGroupByBackup})
        statistic.*table = true;
}

/// Monitored directories with 20 files of one owner in each, for a statistic of summary,
/// owners and groups, or of all; with the flags each file gets into all rankings.
void measureDirectories(const char* name, bool all, std::uint32_t flags) {
    Filesystem filesystem;
    filesystem.fsID = 1234;
    ScannerUnix scanner(&filesystem, {}, {}, nullptr, nullptr, "", 0);
    FileTypeMap fileTypes;
    scanner.setFileTypeMap(&fileTypes);
    CuStatDef statistic;
    statistic.sdID = 1234;
    statistic.sdSummary = statistic.sdGroupByOwner = statistic.sdGroupByGroup = true;
    if (all)
        askForAll(statistic);
    MonDirSpec dirSpec;
    MonDirAccum accum(&statistic, &filesystem, nullptr);
    Activator activator(&accum, &dirSpec);
    const UserOrGroup identity;
    FileAttributes entry;
    entry.faOwner = entry.faGroup = &identity;
    entry.faName.reserve(100);
    const auto meet = [&](const std::string& path, std::int64_t number, EntryType type) {
        entry.faName = path;
        entry.faType = type;
        entry.faAttributes = flags;
        entry.faInodeNumber = 1'000'000 + number;
        entry.faLength = 1000 * number;
        entry.faBlocks = 2 * number;
        entry.faAccessed = entry.faModified = 1'700'000'000'000 + 1000 * number;
        accum.actUpon(&scanner, &entry);
    };
    measure(name, 2000, [&](std::size_t i) {
        const std::string path = "/home/department/user" + std::to_string(100000 + i);
        meet(path, 0, FA_DIRECTORY);
        activator.actUpon(&scanner, &entry);
        accum.directoryEntered(&entry);
        for (int file = 10; file < 30; ++file)
            meet(path + "/file-number-" + std::to_string(file) + ".text", file, FA_FILE);
        accum.directoryLeft();
    });
}

/// Matches of a mask inside a monitored directory.
void measureMatches() {
    Filesystem filesystem;
    ScannerUnix scanner(&filesystem, {}, {}, nullptr, nullptr, "", 0);
    CuStatDef statistic;
    MonDirSpec dirSpec;
    MonDirAccum accum(&statistic, &filesystem, nullptr);
    Activator activator(&accum, &dirSpec);
    FileAttributes entry;
    activator.actUpon(&scanner, &entry);
    accum.directoryEntered(&entry);
    measure("match inside", 1000000,
            [&](std::size_t /*i*/) { activator.actUpon(&scanner, &entry); });
}

}  // namespace

int main() {
    std::printf("%-12s %9s %9s %9s\n", "", "number", "most", "at end");
    InodeTable inodes;
    for (int i = 0; i < 32; ++i)
        static_cast<void>(inodes.addStatistic());
    measure("inode", 1000000, [&](std::size_t i) {
        static_cast<void>(inodes.meet(i % 32, static_cast<std::int64_t>(i * 3)));
    });

    OwnerTable owners;
    FileAttributes file;
    file.faType = FA_FILE;
    measure("owner", 300000, [&](std::size_t i) {
        owners.add(static_cast<std::int32_t>(i * 7), nullptr, file);
    });

    Filesystem filesystem;
    ScannerUnix scanner(&filesystem, {}, {}, nullptr, nullptr, "", 0);
    FileTypeAccum types(1, false, 100);
    file.faName.reserve(30);
    measure("extension", 900000, [&](std::size_t i) {
        file.faName = "/x." + std::to_string(100000 + i);
        types.accumulate(&scanner, &file);
    });
    measureDirectories("directory", false, 0);
    measureDirectories(" all", true, 0);
    measureDirectories(" all, full", true, FA_ORPHAN | FA_ARCHIVE);
    measureMatches();
    return 0;
}
