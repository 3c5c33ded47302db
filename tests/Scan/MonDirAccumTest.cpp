#include <algorithm>
#include <array>
#include <malloc.h>
#include <random>

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

    void match(const std::string& name) { meet(name, FA_DIRECTORY, {&one}); }
    void matchBoth(const std::string& name) { meet(name, FA_DIRECTORY, {&one, &other}); }
    void file() { meet("file", FA_FILE, {}); }
    void enter(const std::string& name) {
        FileAttributes directory = AccumTest::file(name, 1, FA_DIRECTORY);
        for (MonDirAccum* const accum : {&older, &newer})
            accum->directoryEntered(&directory);
    }
    void leave() {
        for (MonDirAccum* const accum : {&older, &newer})
            accum->directoryLeft();
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
                [&text](const MonDirSpec& match) { text += std::to_string(match.mdsID); });
            text += found->nextResultsByFS ? ", " : "";
        }
        return text;
    }

private:
    void meet(const std::string& name, EntryType type,
              std::initializer_list<Activator*> matching) {
        FileAttributes entry = AccumTest::file(name, 1, type);
        for (MonDirAccum* const accum : {&older, &newer})
            accum->actUpon(&scanner, &entry);
        for (Activator* const activator : matching)
            activator->actUpon(&scanner, &entry);
    }

protected:
    CuStatDef first, second;
    MonDirSpec oneSpec, otherSpec;
    MonDirAccum older{&first, &filesystem, nullptr};
    MonDirAccum newer{&second, &filesystem, &older};
    Activator one{&newer, &oneSpec};
    Activator other{&newer, &otherSpec};
};

}  // namespace

// What is counted below each directory is compared with a plain reading in FilterTest.
TEST_F(MonDirAccumTest, AMatchInsideNamesItsMonDirSpecAndWhatIsNotEnteredLeavesNothing) {
    matchBoth("above");
    enter("above");
    file();
    match("inside");
    match("not entered");
    leave();
    match("next");
    enter("next");
    leave();
    EXPECT_EQ("next 0 1, above 1 1211", results(first));
    EXPECT_EQ(results(first), results(second));
}

TEST_F(MonDirAccumTest, ManyDirectoriesTakeLittleMemoryUntilTheyAreReleased) {
    if (mallinfo2().uordblks == 0)
        GTEST_SKIP() << "needs the allocator of the system";
    // Bytes for a directory with one file, and for another match inside.
    const auto bytesFor = [this](int directories, int matches) {
        const std::size_t before = mallinfo2().uordblks;
        for (int i = 0; i < directories; ++i) {
            const std::string name = "a-monitored-directory-" + std::to_string(i);
            match(name);
            enter(name);
            file();
            for (int inside = 0; inside < matches; ++inside)
                inside % 3 == 0 ? matchBoth("x") : match("x");
            leave();
        }
        return (mallinfo2().uordblks - before) / static_cast<std::size_t>(directories);
    };
    first.sdGroupByOwner = first.sdGroupByGroup = true;
    bytesFor(1, 0);  // makes what the others share
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
    SpecMatches matches;
    std::string expected;
    std::minstd_rand random(1);
    for (int i = 0; i < 3000; ++i) {
        const std::size_t which = random() % specs.size();
        specs[which].mdsID = static_cast<int>(which);
        matches.add(&specs[which]);
        expected += std::to_string(which);
    }
    std::string told;
    matches.forEach([&told](const MonDirSpec& match) { told += std::to_string(match.mdsID); });
    EXPECT_EQ(expected.substr(0, 300), told.substr(0, 300));
    std::sort(told.begin(), told.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, told);
}
