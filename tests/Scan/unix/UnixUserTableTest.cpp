#include <atomic>
#include <cerrno>
#include <chrono>
#include <map>
#include <thread>

#include <gtest/gtest.h>

#include "Scan/UberTable.h"
#include "Scan/UserOrGroup.h"
#include "Scan/unix/UnixUserTable.h"
#include "support/TempTree.h"

namespace {

using Clock = std::chrono::steady_clock;

/// A user database that a test decides upon: a look-up of a number fails with the next of its
/// errno values, or gives a user of its name.
struct Database {
    std::map<std::uint32_t, std::vector<int>> failures;  // taken from the end
    std::map<std::uint32_t, std::string> names;
    std::vector<std::uint32_t> asked;
    std::atomic<bool> hangs{false};
};
Database* database = nullptr;

struct passwd* user(uid_t number) {
    static struct passwd answer;
    while (database->hangs)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    database->asked.push_back(number);
    std::vector<int>& failures = database->failures[number];
    if (!failures.empty()) {
        errno = failures.back();
        failures.pop_back();
        return nullptr;
    }
    const auto name = database->names.find(number);
    if (name == database->names.end())
        return nullptr;
    answer.pw_name = name->second.data();
    return &answer;
}

struct group* failingGroup(gid_t /*number*/) {
    errno = EIO;
    return nullptr;
}

class UnixUserTableTest : public testing::Test {
protected:
    UnixUserTableTest() { database = &answers; }

    /// "name removed" of an owner.
    std::string owner(UnixUserTable& table, std::uint32_t number) {
        const UserOrGroup* const entry = table.lookup(Sid(number), false);
        EXPECT_EQ(entry, table.lookup(Sid(number), false));
        return entry->ugName + " " + std::to_string(entry->ugRemoved);
    }
    std::string asked() {
        std::string numbers;
        for (const std::uint32_t number : std::exchange(answers.asked, {}))
            numbers += std::to_string(number) + " ";
        return numbers;
    }

    Database answers;
    UberTable names;
};

}  // namespace

TEST_F(UnixUserTableTest, ANumberStandsForItsNameOrForItself) {
    UnixUserTable table(names);
    EXPECT_EQ("root", table.lookup(Sid(0), false)->fullyQualifiedName());
    EXPECT_EQ(table.lookup(Sid(0), false), table.lookup(Sid(0), false));
    EXPECT_NE(table.lookup(Sid(0), true), table.lookup(Sid(0), false));
    EXPECT_EQ(2, table.lookup(Sid(2), true)->ugGroupID);
    // Though the field of the number is signed.
    EXPECT_EQ("4000054321 1", owner(table, 4000054321U));
    // Another number of the same name: the first object serves both.
    EXPECT_EQ(table.lookup(Sid(0), false), UnixUserTable(names).lookup(Sid(0), false));
}

TEST_F(UnixUserTableTest, AFailureIsNoOrphanAndIsTriedThreeTimes) {
    UnixUserTable table(names, 0, {user, failingGroup, "", ""});
    answers.names = {
        {1, "one"},
        {9, "7"  },
        {8, "5"  }
    };
    std::uint32_t unknown = 10;
    for (const int error : {0, ENOENT, ESRCH, EBADF, EPERM}) {
        answers.failures[unknown] = {error};
        EXPECT_EQ(std::to_string(unknown) + " 1", owner(table, unknown)) << error;
        ++unknown;
    }
    EXPECT_EQ("10 11 12 13 14 ", asked());

    answers.failures = {
        {1, {EAGAIN, ENOMEM}                  },
        {2, {EIO, EIO, EIO, EMFILE, ETIMEDOUT}},
        {7, {EIO}                             }
    };
    const auto began = Clock::now();
    EXPECT_EQ("one 0", owner(table, 1));
    EXPECT_EQ("1 1 1 ", asked());
    EXPECT_EQ("2 0", owner(table, 2));
    EXPECT_EQ("2 2 2 ", asked());
    EXPECT_EQ("7 0", owner(table, 7));  // for the database is known to be down
    EXPECT_EQ("7 0", owner(table, 9));  // whose name is that
    EXPECT_NE(table.lookup(Sid(7), false), table.lookup(Sid(9), false));
    EXPECT_EQ("7 9 ", asked());
    EXPECT_LE(std::chrono::milliseconds(1990), Clock::now() - began);
    EXPECT_EQ("0", table.lookup(Sid(0), true)->ugName);

    const auto [owners, groups] = table.takeFailures();
    EXPECT_EQ(2U, owners);
    EXPECT_EQ(1U, groups);
    EXPECT_EQ("2 0", owner(table, 2));
    EXPECT_EQ("7 1", owner(table, 7));
    EXPECT_EQ("7 0", owner(table, 9));
    EXPECT_EQ("2 7 ", asked()) << "others are asked for once";
    EXPECT_EQ(1U, table.takeFailures().owners);
    EXPECT_EQ("2 1", owner(table, 2));
    EXPECT_EQ("5 1", owner(table, 5));
    EXPECT_EQ("5 0", owner(table, 8)) << "a user with the name of an orphan is none";
}

TEST_F(UnixUserTableTest, AnUnknownNumberIsBelievedOnlyBesideAFileThatCanBeReadAndLacksIt) {
    const TempTree tree;
    tree.write("users", "root:x:0:0::/:\n1:x:21:7::/:\nlast:x:4000000000:1::/:\n");
    const std::string file = tree.path("users");
    for (const std::uint32_t number : {1U, 2U, 7U, 210U, 400000000U}) {
        UnixUserTable table(names, 0, {user, failingGroup, file.c_str(), ""});
        EXPECT_EQ(std::to_string(number) + " 1", owner(table, number));
    }
    const std::string directory = tree.root();
    UnixUserTable inFile(names, 0, {user, failingGroup, file.c_str(), ""});
    UnixUserTable unreadable(names, 0, {user, failingGroup, directory.c_str(), ""});
    EXPECT_EQ("21 0", owner(inFile, 21));
    EXPECT_EQ("22 0", owner(unreadable, 22));
    EXPECT_EQ(1U, inFile.takeFailures().owners);
    EXPECT_EQ(1U, unreadable.takeFailures().owners);
}

TEST_F(UnixUserTableTest, ALookUpThatHangsDelaysTheOthersNoMore) {
    UnixUserTable table(names, 1, {user, failingGroup, "", ""});
    answers.names = {
        {1, "one"},
        {2, "two"}
    };
    EXPECT_EQ("one 0", owner(table, 1));
    answers.hangs = true;
    const auto began = Clock::now();
    for (std::uint32_t number = 2; number < 1000; ++number)
        EXPECT_EQ(std::to_string(number) + " 0", owner(table, number));
    EXPECT_GT(std::chrono::seconds(10), Clock::now() - began);
    EXPECT_EQ(998U, table.takeFailures().owners);
    answers.hangs = false;
    for (int i = 0; i < 1000 && owner(table, 2) != "two 0"; ++i) {
        EXPECT_EQ(1U, table.takeFailures().owners);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ("1 2 ", asked()) << "the late answer is taken";
    EXPECT_EQ("3 1", owner(table, 3));
}
