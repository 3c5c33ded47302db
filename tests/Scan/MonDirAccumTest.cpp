#include "Scan/AccumTest.h"
#include "Scan/Activator.h"
#include "Scan/CuStatDef.h"
#include "Scan/MonDirAccum.h"
#include "Scan/ResultsByFS.h"
#include "Scan/SMonDir.h"

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
            const SMonDir* const directory = found->monitoredDirectory();
            text += directory->faName + " " +
                    std::to_string(found->rfResults->srSummary->sumFileCount) + " ";
            for (const auto& dirSpec : directory->smDirSpecs)
                text += std::to_string(dirSpec->mdsID);
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
    EXPECT_EQ(first.sdResults->monitoredDirectory(), second.sdResults->monitoredDirectory());
}

TEST_F(MonDirAccumTest, ADirectoryThatIsNotEnteredLeavesNothing) {
    walk({"deep", "<", ">next", ".", "<", "deep", ">next", "<", "deep", "next", ">next", ".",
          "<"});
    EXPECT_EQ("next 1 1", results(first));
}
