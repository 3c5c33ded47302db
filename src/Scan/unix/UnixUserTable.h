#pragma once

#include <memory>

#include "Scan/UserTable.h"

/// Owners and groups from the host's user database.
class UnixUserTable : public UserTable {
public:
    using UserTable::UserTable;

    [[nodiscard]] const UserOrGroup* lookup(const Sid& pSid, bool isGroup) override;

private:
    [[nodiscard]] static std::unique_ptr<UserOrGroup> askSystem(std::int32_t number,
                                                                bool isGroup);
};
