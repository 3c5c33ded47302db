#include "Scan/AccumTest.h"
#include "Scan/LargeDirAccum.h"

class LargeDirAccumTest : public AccumTest {
protected:
    /// The directory that a walk gives with these entries in its root, and one that is
    /// entered and never left.
    const SDirectory& walk(const std::vector<FileAttributes>& entries) {
        LargeDirAccum accum(1, filesystem);
        FileAttributes root = file("/", 0, FA_DIRECTORY);
        meet(accum, root);
        accum.newDirectory(&root);
        for (const FileAttributes& entry : entries)
            meet(accum, entry);
        accum.endDirectory();
        accum.newDirectory(&root);
        accum.finish(nullptr);
        accum.finish(&results);
        return *results.srLargestDirectories.head();
    }
};

// Meant: a directory or a link never becomes one of the largest two, but it can move the
// largest down.
TEST_F(LargeDirAccumTest, LinksAndDirectoriesPushTheLargestDown) {
    struct Step {
        std::int64_t size;
        std::int32_t type;
        std::int64_t largest, second;
    };
    const Step kSteps[] = {
        {5,  FA_FILE,      5,  0 },
        {3,  FA_LINK,      5,  0 },
        {4,  FA_FILE,      5,  4 },
        {9,  FA_LINK,      5,  5 },
        {20, FA_FILE,      20, 5 },
        {30, FA_DIRECTORY, 20, 20},
        {25, FA_FILE,      25, 20},
    };
    std::vector<FileAttributes> entries;
    for (const Step& step : kSteps) {
        entries.push_back(file("entry", step.size, step.type));
        const SDirectory& found = walk(entries);
        EXPECT_EQ(step.largest, found.dirLargestSize);
        EXPECT_EQ(step.second, found.dir2ndLargestSize);
    }
}
