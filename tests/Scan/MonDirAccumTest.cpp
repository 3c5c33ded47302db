#include "Scan/AccumTest.h"
#include "Scan/Activator.h"
#include "Scan/CuStatDef.h"
#include "Scan/MonDirAccum.h"
#include "Scan/ResultsByFS.h"
#include "Scan/SMonDir.h"

namespace {

/// A walk with two directory statistics of one depth, which two specifications arm.
class MonDirAccumTest : public AccumTest {
protected:
    MonDirAccumTest() {
        first.sdSummary = second.sdSummary = true;
        oneSpec.mdsID = 1;
        otherSpec.mdsID = 2;
    }

    /// The walk comes to a directory that the specification matches, but does not enter it.
    void meets(const std::string& name, Activator& activator) {
        FileAttributes attributes = file(name, 0, FA_DIRECTORY);
        fire(attributes);
        activator.actUpon(&scanner, &attributes);
    }

    void enters(const std::string& name) {
        FileAttributes attributes = file(name, 0, FA_DIRECTORY);
        for (MonDirAccum* const accum : {&older, &newer})
            accum->directoryEntered(&attributes);
    }

    void leaves() {
        for (MonDirAccum* const accum : {&older, &newer})
            accum->directoryLeft();
    }

    void meetsFile(std::int32_t links = 1) {
        FileAttributes attributes = file("file", 1);
        attributes.faLinkCount = links;
        fire(attributes);
    }

    void fire(FileAttributes& attributes) {
        for (MonDirAccum* const accum : {&older, &newer})
            accum->actUpon(&scanner, &attributes);
    }

    /// "name files specifications" of each result of a statistic, the last one first.
    static std::string results(const CuStatDef& statistic) {
        std::string text;
        for (const ResultsByFS* found = statistic.sdResults; found;
             found = found->nextResultsByFS) {
            const SMonDir* const directory = found->monitoredDirectory();
            EXPECT_TRUE(found->passes(7) && !found->passes(8));
            text += (text.empty() ? "" : ", ") + directory->faName + " " +
                    std::to_string(found->rfResults->srSummary->sumFileCount) + " ";
            for (const auto& dirSpec : directory->smDirSpecs)
                text += std::to_string(dirSpec->mdsID);
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
    meetsFile();  // in no monitored directory
    meets("a", one);
    meets("a", other);
    enters("a");
    meetsFile(2);
    meetsFile(2);
    enters("a/x");
    meetsFile();
    meets("a/x/y", one);
    leaves();
    leaves();
    meetsFile();
    meets("b", other);
    enters("b");
    meetsFile(2);  // a first link again: what "a" met is forgotten
    leaves();
    EXPECT_EQ("b 0 2, a 2 121", results(first));
    EXPECT_EQ(results(first), results(second));
    EXPECT_EQ(first.sdResults->monitoredDirectory(), second.sdResults->monitoredDirectory());
}

TEST_F(MonDirAccumTest, ADirectoryThatIsNotEnteredLeavesNothing) {
    meets("deep", one);
    leaves();  // its parent
    enters("next");
    meetsFile();
    leaves();
    meets("deep", one);
    enters("next");
    leaves();
    meets("deep", one);
    meets("next", one);
    enters("next");
    meetsFile();
    leaves();
    EXPECT_EQ("next 1 1", results(first));
    Activator(nullptr, &oneSpec).actUpon(&scanner, scanner.getCurrentFile());
}
