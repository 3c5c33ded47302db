#include <gtest/gtest.h>

#include "Scan/UberTable.h"
#include "Scan/UserOrGroup.h"
#include "Scan/unix/UnixUserTable.h"

TEST(UnixUserTableTest, ANumberStandsForItsNameOrForItself) {
    UberTable names;
    UnixUserTable table(names);
    EXPECT_EQ("root", table.lookup(Sid(0), false)->fullyQualifiedName());
    EXPECT_EQ(table.lookup(Sid(0), false), table.lookup(Sid(0), false));
    EXPECT_NE(table.lookup(Sid(0), true), table.lookup(Sid(0), false));
    EXPECT_EQ(2, table.lookup(Sid(2), true)->ugGroupID);

    const UserOrGroup* const orphan = table.lookup(Sid(4000054321U), false);
    EXPECT_EQ("4000054321", orphan->ugName);  // though the field of the number is signed
    EXPECT_EQ(1, orphan->ugRemoved);

    // Another number of the same name: the first object serves both.
    EXPECT_EQ(table.lookup(Sid(0), false), UnixUserTable(names).lookup(Sid(0), false));
}
