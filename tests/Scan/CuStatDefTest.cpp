#include <gtest/gtest.h>

#include "Scan/CuStatDef.h"

TEST(CuStatDefTest, RowsAddUpAClauseOfSignedBytesAndSetKnownFlags) {
    CuStatDef statistic;
    const Row kHeader = {"sdWhereClause", "sdNone", "sdSummary", "sdGroupByMod"};
    const Table kRows = {
        {"1, -1,  255", "?", "Y",    "true"},
        {"null",        "?", "TRUE", "n"   },
        {", ,x,-128",   "?", "0",    "1"   },
    };
    statistic.inititializeObject(kHeader, kRows);
    EXPECT_EQ(std::string("\1\xff\xff\0\x80", 5), statistic.getWhereClause());
    EXPECT_TRUE(statistic.sdSummary);
    EXPECT_FALSE(statistic.sdGroupByMod);
}
