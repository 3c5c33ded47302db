#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "Scan/UserTable.h"
#include "Scan/unix/UserDatabase.h"

/// Owners and groups from the host's user database.
///
/// A number that the host does not know is its own name, and so is one that could not be looked
/// up; only the former is marked as removed. The latter is asked for again after
/// takeFailures(), so that one file system has one answer and the next one another chance.
class UnixUserTable : public UserTable {
public:
    /// `table` owns the objects and must outlive this one. Look-ups have so many seconds each,
    /// 0 for any time.
    explicit UnixUserTable(UberTable& table, std::int32_t timeout = 0,
                           const UserDatabase::Calls& calls = {});

    [[nodiscard]] const UserOrGroup* lookup(const Sid& pSid, bool isGroup) override;

    /// How many owners and groups could not be looked up since the last call.
    struct Failures {
        std::size_t owners;
        std::size_t groups;
    };
    [[nodiscard]] Failures takeFailures();

private:
    /// Numbers seen lately, each at the place that its low bits give: most entries belong to
    /// few owners, and the maps are searched for the others.
    struct Recent {
        std::int32_t number = 0;
        const UserOrGroup* entry = nullptr;  // not owned; null where there is none yet
    };
    using Recents = std::array<Recent, 64>;

    /// What belongs to owners or to groups alone.
    struct Side {
        Recents recents;
        std::vector<std::int32_t> failed;  // not looked up since takeFailures()
        std::map<std::int32_t, const UserOrGroup*> unnamed;  // for those; members not owned
    };

    [[nodiscard]] const UserOrGroup* search(bool isGroup);
    [[nodiscard]] const UserOrGroup* askSystem(bool isGroup);
    [[nodiscard]] static std::size_t forgetFailures(
        Side& side, std::map<std::int32_t, const UserOrGroup*>& known);

    UserDatabase database;
    Side ownerSide;
    Side groupSide;
};
