#include <algorithm>
#include <array>
#include <malloc.h>

#include "Scan/AccumTest.h"
#include "Scan/Activator.h"
#include "Scan/CuStatDef.h"
#include "Scan/DirectoryResults.h"
#include "Scan/MonDirAccum.h"
#include "Scan/ResultsByFS.h"

namespace {

/// A walk with two directory statistics of one depth, which two MonDirSpecs arm.
class MonDirAccumTest : public AccumTest {
protected:
    MonDirAccumTest() {
        first.sdSummary = second.sdSummary = true;
        oneSpec.mdsID = 1;
        otherSpec.mdsID = 2;
    }

    /// Tells the story of a walk: a name is a directory that one MonDirSpec matches,
    /// "both" one that both do, ">name" enters it, "<" leaves it, "." is a file and ":" a
    /// file of two links.
    void walk(std::initializer_list<const char*> story) {
        for (const std::string step : story) {
            const char kind = step[0];
            FileAttributes entry = file(step.substr(kind == '>' ? 1 : 0), 1,
                                        std::isalpha(kind) != 0 ? FA_DIRECTORY : FA_FILE);
            entry.faLinkCount = kind == ':' ? 2 : 1;
            for (MonDirAccum* const accum : {&older, &newer}) {
                if (kind == '<')
                    accum->directoryLeft();
                else if (kind == '>')
                    accum->directoryEntered(&entry);
                else
                    accum->actUpon(&scanner, &entry);
            }
            if (std::isalpha(kind) != 0)
                one.actUpon(&scanner, &entry);
            if (step == "both")
                other.actUpon(&scanner, &entry);
        }
    }

    /// "name files MonDirSpecs" of each result of a statistic, the last one first.
    static std::string results(const CuStatDef& statistic) {
        std::string text;
        for (auto* found = statistic.sdResults; found; found = found->nextResultsByFS) {
            EXPECT_TRUE(found->passes(7) && !found->passes(8));
            const auto kept = found->unpacked();
            text += kept->directory.faName + " " +
                    std::to_string(kept->results.srSummary->sumFileCount) + " ";
            kept->directory.smDirSpecs.forEach(
                [&text](const MonDirSpec& spec) { text += std::to_string(spec.mdsID); });
            text += found->nextResultsByFS ? ", " : "";
        }
        return text;
    }

    CuStatDef first, second;
    MonDirSpec oneSpec, otherSpec;
    MonDirAccum older{&first, &filesystem, nullptr};
    MonDirAccum newer{&second, &filesystem, &older};
    Activator one{&newer, &oneSpec};
    Activator other{&newer, &otherSpec};
};

}  // namespace

TEST_F(MonDirAccumTest, EachDirectoryIsCountedByItselfForEachStatistic) {
    // In the second directory a link is a first link again. Meant: a match inside a
    // monitored directory names its MonDirSpec once more.
    walk({".", "both", ">both", ":", ":", "x", ">x", ".", "<", "<", ".", "b", ">b", ":", "<"});
    EXPECT_EQ("b 0 1, both 2 121", results(first));
    EXPECT_EQ(results(first), results(second));
}

TEST_F(MonDirAccumTest, ADirectoryThatIsNotEnteredLeavesNothing) {
    walk({"deep", "<", ">next", ".", "<", "deep", ">next", "<", "deep", "next", ">next", ".",
          "<"});
    EXPECT_EQ("next 1 1", results(first));
}

TEST_F(MonDirAccumTest, ManyDirectoriesTakeLittleMemoryUntilTheyAreReleased) {
    if (mallinfo2().uordblks == 0)
        GTEST_SKIP() << "needs the allocator of the system";
    // Bytes for a directory with one file, and for another match inside.
    const auto bytesFor = [this](int directories, int matches) {
        const std::size_t before = mallinfo2().uordblks;
        for (int i = 0; i < directories; ++i) {
            const std::string name = "a-monitored-directory-" + std::to_string(i);
            walk({name.c_str(), (">" + name).c_str(), "."});
            for (int match = 0; match < matches; ++match)
                walk({match % 3 == 0 ? "both" : "x"});
            walk({"<"});
        }
        return (mallinfo2().uordblks - before) / static_cast<std::size_t>(directories);
    };
    first.sdGroupByOwner = first.sdGroupByGroup = true;
    walk({"a", ">a", "<"});
    const std::size_t oneDirectory = bytesFor(1000, 0);
    EXPECT_GT(600U, oneDirectory);  // in two statistics
    EXPECT_GT(oneDirectory + 16384, bytesFor(10, 10000));
    for (CuStatDef* const statistic : {&first, &second}) {
        statistic->releaseDirectories(8);
        EXPECT_NE(nullptr, statistic->sdResults);
        statistic->releaseDirectories(7);
        EXPECT_EQ(nullptr, statistic->sdResults);
    }
}

TEST(SpecMatchesTest, MatchesAreToldInTheirOrderAndBeyondABoundSpecBySpec) {
    std::array<MonDirSpec, 3> specs;
    for (int i = 0; i < 3; ++i)
        specs[static_cast<std::size_t>(i)].mdsID = i;
    SpecMatches matches;
    std::string expected;
    const auto add = [&](const std::string& ids) {
        for (const char id : ids)
            matches.add(&specs[static_cast<std::size_t>(id - '0')]);
        expected += ids;
    };
    const auto told = [&] {
        std::string ids;
        matches.forEach([&ids](const MonDirSpec& spec) { ids += std::to_string(spec.mdsID); });
        return ids;
    };
    for (const char* const ids : {"0", "0", "012", "012", "12", "21", "21", "0"})
        add(ids);
    EXPECT_EQ(expected, told());
    for (int i = 0; i < 1000; ++i)
        add(i % 2 == 0 ? "01" : "0");
    std::string sorted = told();
    EXPECT_EQ(expected.substr(0, 300), sorted.substr(0, 300));
    std::sort(sorted.begin(), sorted.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, sorted);
}
