#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Common/Object.h"
#include "Scan/UserOrGroup.h"

/// All owners and groups of a scan, most of them by name. Owns them; they stay valid until it
/// goes.
class UberTable : public Object {
public:
    UberTable() noexcept : Object("UberTable") {}

    /// Files an entry under its name and returns the one to use: the entry that already
    /// has the name, if there is one, and then the new one is dropped.
    UserOrGroup* stashOnUnix(std::unique_ptr<UserOrGroup> pUG, bool isGroup);

    /// Keeps an entry that has no name but its number. It shares its object with no name: there
    /// may be a user who is called like the number of another one.
    UserOrGroup* keepUnnamed(std::unique_ptr<UserOrGroup> entry);

private:
    std::map<std::string, std::unique_ptr<UserOrGroup>> users;
    std::map<std::string, std::unique_ptr<UserOrGroup>> groups;
    std::vector<std::unique_ptr<UserOrGroup>> unnamed;
};
