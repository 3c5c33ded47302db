#pragma once

#include <cstdint>
#include <map>

#include "Common/Object.h"

class UberTable;
class UserOrGroup;

/// The number of an owner or group.
class Sid {
public:
    explicit Sid(std::uint32_t number) noexcept : value(static_cast<std::int32_t>(number)) {}
    [[nodiscard]] std::int32_t get() const noexcept { return value; }

private:
    std::int32_t value;
};

/// Owners and groups by number. Asks the host once for each number of a scan that it answers;
/// after that an entry costs at most one search in a map. Scan thread only.
class UserTable : public Object {
public:
    /// `table` owns the objects and must outlive this one.
    explicit UserTable(UberTable& table) noexcept : Object("UserTable"), uberTable(&table) {}

    /// The object of a number; never null.
    [[nodiscard]] virtual const UserOrGroup* lookup(const Sid& pSid, bool isGroup) = 0;

protected:
    UberTable* uberTable;                               // not owned
    std::int32_t currentKey = 0;                        // of the last lookup
    std::map<std::int32_t, const UserOrGroup*> users;   // members not owned
    std::map<std::int32_t, const UserOrGroup*> groups;  // members not owned
};
