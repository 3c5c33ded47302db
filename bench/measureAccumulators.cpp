/// Prints what each accumulator costs per entry, and what all of them cost together, on top
/// of the summary alone. The entries come from memory, so that nothing but the statistics
/// is measured; they are the same at every run.
///
/// usage: measure_accumulators [ENTRIES [ROUNDS]]

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Probe/Filesystem.h"
#include "Random.h"
#include "Scan/CuStatAccum.h"
#include "Scan/CuStatDef.h"
#include "Scan/CuStatResults.h"
#include "Scan/FileAttributes.h"
#include "Scan/UserOrGroup.h"
#include "Scan/unix/ScannerUnix.h"

namespace {

constexpr std::int16_t kLength = 100;             // of every list
constexpr std::size_t kEntriesPerDirectory = 20;  // the directory itself is one
constexpr std::size_t kOwners = 200;
constexpr std::size_t kKnownOwners = 190;  // of them; the host does not know the others

constexpr std::string_view kRoot = "/mount/user/project";

void appendNumber(std::string& text, const char* label, std::size_t number) {
    std::array<char, 20> digits;
    text += label;
    text.append(digits.data(), std::to_chars(digits.begin(), digits.end(), number).ptr);
}

struct Entry {
    std::int64_t blocks;
    std::int64_t accessed;  // milliseconds, like the next
    std::int64_t modified;
    std::uint32_t owner;
    std::uint16_t extension;
    bool severalLinks;
};

std::vector<Entry> makeEntries(std::size_t number) {
    Random random;
    std::vector<Entry> entries(number);
    for (Entry& entry : entries) {
        entry.blocks = static_cast<std::int64_t>(random.below(1ULL << random.below(24)));
        entry.modified = static_cast<std::int64_t>(random.below(60000000000));
        entry.accessed = entry.modified + static_cast<std::int64_t>(random.below(5000000000));
        entry.owner = static_cast<std::uint32_t>(random.below(kOwners));
        entry.extension = static_cast<std::uint16_t>(random.below(400));
        entry.severalLinks = random.below(10) == 0;
    }
    return entries;
}

class Walk {
public:
    explicit Walk(std::size_t number) : entries(makeEntries(number)), owners(kOwners) {
        filesystem.fsType = 23;
        scanner.setFileTypeMap(&fileTypes);
        for (std::size_t i = 0; i < kOwners; ++i)
            owners[i].ugID = owners[i].ugGroupID = static_cast<std::int32_t>(1000 + i);
    }

    /// Nanoseconds per entry of a walk with this statistic.
    double run(CuStatDef& statistic) {
        CuStatAccum accum;
        accum.buildAccum(&statistic, &filesystem);
        const auto results = accum.takeResults();
        const auto start = std::chrono::steady_clock::now();
        FileAttributes file;
        file.faName = kRoot;
        file.faType = FA_DIRECTORY;
        accum.directoryEntered(&file);
        for (std::size_t i = 0; i < entries.size(); ++i)
            meet(accum, file, i);
        while (open-- > 0)
            accum.directoryLeft();
        accum.directoryLeft();
        open = 0;
        const std::chrono::duration<double, std::nano> taken =
            std::chrono::steady_clock::now() - start;
        return taken.count() / static_cast<double>(entries.size());
    }

private:
    void meet(CuStatAccum& accum, FileAttributes& file, std::size_t i) {
        const Entry& entry = entries[i];
        const bool directory = i % kEntriesPerDirectory == 0;
        file.faName.resize(kRoot.size());
        appendNumber(file.faName, "/file", i);
        appendNumber(file.faName, ".e", entry.extension);
        file.faType = directory ? FA_DIRECTORY : FA_FILE;
        file.faBlocks = directory ? 8 : entry.blocks;
        file.faLength = file.faBlocks * 512;
        file.faAccessed = entry.accessed;
        file.faModified = entry.modified;
        file.faOwner = file.faGroup = &owners[entry.owner];
        file.faAttributes = entry.owner < kKnownOwners ? 0 : std::uint32_t{FA_ORPHAN};
        file.faLinkCount = !directory && entry.severalLinks ? 2 : 1;
        file.faInodeNumber = static_cast<std::int64_t>(i / 40 * 40 + i % 17);
        accum.actUpon(&scanner, &file);
        if (!directory)
            return;
        if (open == 8)
            accum.directoryLeft();
        else
            ++open;
        accum.directoryEntered(&file);
    }

    const std::vector<Entry> entries;
    std::vector<UserOrGroup> owners;
    Filesystem filesystem;
    FileTypeMap fileTypes;
    ScannerUnix scanner{&filesystem, {}, {}, nullptr, nullptr, "", 0};
    int open = 0;  // directories below the root
};

struct Case {
    const char* name;
    void (*ask)(CuStatDef& statistic);
};

constexpr Case kCases[] = {
    {"summary alone",       [](CuStatDef&) {}                                           },
    {"largest directories", [](CuStatDef& each) { each.sdLargestDirectories = kLength; }},
    {"largest files",       [](CuStatDef& each) { each.sdLargestFiles = kLength; }      },
    {"least accessed",      [](CuStatDef& each) { each.sdLeastAccessed = kLength; }     },
    {"not backed up",       [](CuStatDef& each) { each.sdOldestNotBackedUp = kLength; } },
    {"largest orphans",     [](CuStatDef& each) { each.sdLargestOrphans = kLength; }    },
    {"oldest orphans",      [](CuStatDef& each) { each.sdOldestOrphans = kLength; }     },
    {"owners",              [](CuStatDef& each) { each.sdGroupByOwner = true; }         },
    {"groups",              [](CuStatDef& each) { each.sdGroupByGroup = true; }         },
    {"sizes",               [](CuStatDef& each) { each.sdSizeDistribution = true; }     },
    {"access ages",         [](CuStatDef& each) { each.sdGroupByAccess = true; }        },
    {"modification ages",   [](CuStatDef& each) { each.sdGroupByMod = true; }           },
    {"file types",          [](CuStatDef& each) { each.sdLargestFileTypes = kLength; }  },
};

constexpr std::size_t kAll = std::size(kCases);  // the case of all together

CuStatDef& ask(CuStatDef& statistic, std::size_t which) {
    statistic.sdSummary = true;
    for (std::size_t i = 0; i < kAll; ++i) {
        if (which == kAll || i == which)
            kCases[i].ask(statistic);
    }
    return statistic;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    const long entries = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1000000;
    const long rounds = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 5;
    if (entries < 1 || rounds < 1) {
        std::fprintf(stderr, "usage: measure_accumulators [ENTRIES [ROUNDS]]\n");
        return 2;
    }
    Walk walk(static_cast<std::size_t>(entries));
    // Round by round, so that a slow moment of the machine hits all cases alike.
    std::array<std::vector<double>, kAll + 1> times;
    for (long round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i <= kAll; ++i) {
            CuStatDef statistic;
            times[i].push_back(walk.run(ask(statistic, i)));
        }
    }
    std::printf("%ld entries, median of %ld rounds, ns per entry\n", entries, rounds);
    std::printf("%-20s %8s %8s\n", "", "walk", "added");
    const double summary = median(times[0]);
    for (std::size_t i = 0; i <= kAll; ++i)
        std::printf("%-20s %8.1f %8.1f\n", i == kAll ? "all together" : kCases[i].name,
                    median(times[i]), median(times[i]) - summary);
    return 0;
}
