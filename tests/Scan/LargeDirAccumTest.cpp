#include "Scan/AccumTest.h"
#include "Scan/LargeDirAccum.h"

class LargeDirAccumTest : public AccumTest {
protected:
    void enter(const std::string& name) {
        FileAttributes directory = file(name, 8, FA_DIRECTORY);
        meet(accum, directory);
        accum.newDirectory(&directory);
    }

    LargeDirAccum accum{2, filesystem};
};

TEST_F(LargeDirAccumTest, ADirectoryRanksByWhatLiesDirectlyInIt) {
    enter("/");
    for (const int total : {10, 30, 20}) {
        enter("/d" + std::to_string(total));
        meet(accum, file("file", total));
        enter("/d/below");
        meet(accum, file("large", 5));
        accum.endDirectory();
        accum.endDirectory();
    }
    meet(accum, file("pipe", 0, FA_PIPE));
    accum.endDirectory();
    accum.finish(nullptr);
    accum.finish(&results);
    // Its entry below counts in a directory: 30 and 8 blocks.
    EXPECT_EQ("/d30 /d20", names(results.srLargestDirectories));
    const SDirectory& first = *results.srLargestDirectories.head();
    EXPECT_EQ("SDirectory 7 200 1 1 38", std::string(first.getClassName()) + " " +
                                             std::to_string(first.dirFilesystemID) + " " +
                                             std::to_string(first.dirStatisticID) + " " +
                                             std::to_string(first.dirFileCount) + " " +
                                             std::to_string(first.dirDirectoryCount) + " " +
                                             std::to_string(first.dirTotalSize));
    EXPECT_EQ((std::array<std::int64_t, 8>{0, 8, 30}), first.dirSizes);
    EXPECT_EQ((std::array<std::int32_t, 8>{0, 1, 1}), first.dirCounts);
    enter("/open");  // and never left: goes with the accumulator
}

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
    for (const Step& last : kSteps) {
        LargeDirAccum one(1, filesystem);
        FileAttributes root = file("/", 0, FA_DIRECTORY);
        one.newDirectory(&root);
        for (const Step* step = kSteps; step <= &last; ++step)
            meet(one, file("entry", step->size, step->type));
        one.endDirectory();
        one.finish(&results);
        EXPECT_EQ(last.largest, results.srLargestDirectories.head()->dirLargestSize);
        EXPECT_EQ(last.second, results.srLargestDirectories.head()->dir2ndLargestSize);
    }
}
