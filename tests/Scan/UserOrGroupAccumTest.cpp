#include <map>
#include <random>
#include <sstream>

#include "Common/GenericPrint.h"
#include "Scan/AccumTest.h"
#include "Scan/UserOrGroup.h"
#include "Scan/UserOrGroupAccum.h"
#include "support/TempTree.h"

class UserOrGroupAccumTest : public AccumTest {
protected:
    UserOrGroup* owner(std::int64_t number) {
        UserOrGroup& entry = owners[number];
        entry.ugName = "u" + std::to_string(number);
        entry.ugID = static_cast<std::int32_t>(number);
        entry.ugGroupID = -entry.ugID;
        return &entry;
    }

    /// Meets a file of both an owner and a group of that number.
    void meetOf(std::int64_t number, std::int64_t blocks, std::int32_t type = FA_FILE) {
        FileAttributes attributes = file("file", blocks, type);
        attributes.faOwner = attributes.faGroup = owner(number);
        meet(ownerAccum, attributes);
        meet(groupAccum, attributes);
    }

    /// The rows of a table, from its head.
    static std::vector<std::string> rows(const std::unique_ptr<OwnerTable>& table) {
        const TempTree scratch;
        GenericPrint print(GenericPrint::ENTITIES, scratch.path("out"));
        table->printData(print);
        std::istringstream lines(scratch.read("out"));
        std::vector<std::string> found;
        for (std::string line; std::getline(lines, line);) {
            if (line == "[SUserOrGroup]" && std::getline(lines, line))
                found.push_back(line);
        }
        return found;
    }

    std::map<std::int64_t, UserOrGroup> owners;
    UserOrGroupAccum ownerAccum{UserOrGroupAccum::OWNERS, &filesystem};
    UserOrGroupAccum groupAccum{UserOrGroupAccum::GROUPS, &filesystem};
};

TEST_F(UserOrGroupAccumTest, ARecordTellsFilesFromDirectoriesAndStandsByItsNumber) {
    filesystem.fsScanTime = 1234567;
    meetOf(5, 8);
    meetOf(4000000000, 1);  // the number is signed, so it stands last
    meetOf(5, 8, FA_LINK);
    meetOf(5, 3000, FA_DIRECTORY);
    meetOf(5, 0, FA_PIPE);
    meetOf(12, 1);
    meetOf(5, 20);
    meet(ownerAccum, file("of nobody", 1));
    ownerAccum.finish(&results);
    ownerAccum.finish(&results);
    const std::vector<std::string> found = rows(results.srOwners);
    ASSERT_EQ(3U, found.size());
    EXPECT_NE(std::string::npos, found[0].find(R"("200","1","1",)"));
    EXPECT_EQ(
        R"("7","200","3","3036","1234567","0","0","1","0","0","20","8","1234567","0","0",)"
        R"("0,36,0,0,0,0,0,0","0,3,0,0,0,0,0,0")",
        found[1]);
    EXPECT_EQ(nullptr, results.srGroups);
    groupAccum.finish(&results);
    EXPECT_EQ(found[1], rows(results.srGroups).at(1));  // -12 stands below -5, not above

    UserOrGroupAccum none(UserOrGroupAccum::OWNERS, &filesystem);
    none.finish(&results);
    EXPECT_EQ(nullptr, results.srOwners);
}

// So many that the table grows, against plain sums.
TEST_F(UserOrGroupAccumTest, AnyStreamOfOwnersAddsUp) {
    std::mt19937 random(1);
    std::map<std::int64_t, std::int64_t, std::greater<>> totals;
    for (int i = 0; i < 30000; ++i) {
        const std::int64_t number = random() % 5000 * 65536;
        const std::int64_t blocks = random() % 100;
        totals[static_cast<std::int32_t>(number)] += blocks;
        meetOf(number, blocks);
    }
    ownerAccum.finish(&results);
    const std::vector<std::string> found = rows(results.srOwners);
    ASSERT_EQ(totals.size(), found.size());
    auto expected = totals.begin();
    for (const std::string& row : found) {
        EXPECT_NE(std::string::npos,
                  row.find("\",\"" + std::to_string(expected->second) + "\",\"0\",\"0\""));
        ++expected;
    }
}
