#include "Common/GenericPrint.h"
#include "Scan/AccumTest.h"
#include "Scan/UserOrGroup.h"
#include "Scan/UserOrGroupAccum.h"
#include "support/TempTree.h"

class UserOrGroupAccumTest : public AccumTest {};

// So many that the table grows. A number is signed, so those above 2^31 stand last.
TEST_F(UserOrGroupAccumTest, OwnersStandInTheOrderOfTheirNumbersEachWithItsOwn) {
    std::vector<UserOrGroup> owners(3000);
    UserOrGroupAccum accum(UserOrGroupAccum::OWNERS, &filesystem);
    meet(accum, file("of nobody", 1));
    for (int round = 0; round < 2; ++round) {
        std::int32_t number = INT32_MIN;
        for (UserOrGroup& owner : owners) {
            owner.ugID = number;
            FileAttributes each = file("file", number);
            each.faOwner = &owner;
            meet(accum, each);
            number += 1431655;  // 2^32 / 3000
        }
    }
    accum.finish(nullptr);
    UserOrGroupAccum(UserOrGroupAccum::GROUPS, &filesystem).finish(&results);
    EXPECT_EQ(nullptr, results.srGroups);
    accum.finish(&results);
    accum.finish(&results);

    const TempTree scratch;
    GenericPrint print(GenericPrint::ENTITIES, scratch.path("out"));
    results.srOwners->printData(print);
    const std::string text = scratch.read("out");
    std::size_t place = 0;
    for (auto owner = owners.rbegin(); owner != owners.rend(); ++owner) {
        place = text.find("\"7\",\"200\",\"2\",\"" + std::to_string(2L * owner->ugID) + "\"",
                          place);
        ASSERT_NE(std::string::npos, place) << owner->ugID;
    }
}
