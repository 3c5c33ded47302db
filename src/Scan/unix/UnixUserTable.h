#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "Scan/UserTable.h"

/// Owners and groups from the host's user database.
class UnixUserTable : public UserTable {
public:
    using UserTable::UserTable;

    [[nodiscard]] const UserOrGroup* lookup(const Sid& pSid, bool isGroup) override;

private:
    /// Numbers seen lately, each at the place that its low bits give: most entries belong to
    /// few owners, and the maps are searched for the others.
    struct Recent {
        std::int32_t number = 0;
        const UserOrGroup* entry = nullptr;  // not owned; null where there is none yet
    };
    using Recents = std::array<Recent, 64>;

    [[nodiscard]] const UserOrGroup* search(bool isGroup);
    [[nodiscard]] static std::unique_ptr<UserOrGroup> askSystem(std::int32_t number,
                                                                bool isGroup);

    Recents recentUsers;
    Recents recentGroups;
};
