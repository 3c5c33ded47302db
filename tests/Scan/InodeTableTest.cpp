#include <random>
#include <set>

#include <gtest/gtest.h>

#include "Scan/InodeTable.h"

// Against one plain set per statistic.
TEST(InodeTableTest, EachStatisticMeetsAndForgetsByItself) {
    constexpr std::size_t kStatistics = 40;
    std::mt19937_64 random(1);
    InodeTable table;
    std::vector<std::set<std::int64_t>> met(kStatistics);
    for (std::size_t i = 0; i < kStatistics; ++i)
        ASSERT_EQ(i, table.addStatistic());
    std::vector<std::int64_t> inodes = {0, -1, 1L << 32U, INT64_MIN, INT64_MAX};
    for (int i = 0; i < 3000; ++i)
        inodes.push_back(i % 2 == 0 ? i : static_cast<std::int64_t>(random()));
    for (int i = 0; i < 200000; ++i) {
        const std::size_t statistic = random() % kStatistics;
        const std::int64_t inode = inodes[random() % inodes.size()];
        ASSERT_EQ(!met[statistic].insert(inode).second, table.meet(statistic, inode));
        if (i % 5000 == 0) {
            table.forget(statistic);
            met[statistic].clear();
        }
    }
    for (std::size_t i = 0; i < kStatistics; ++i)
        table.forget(i);
    EXPECT_FALSE(table.meet(3, 0));
}
