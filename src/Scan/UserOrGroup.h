#pragma once

#include <cstdint>
#include <string>

#include "Common/EntityToObjectMapper.h"

class GenericPrint;
struct Domain;

/// Values of UserOrGroup::ugType.
enum UserOrGroupType : std::int32_t { UG_USER = 1, UG_GROUP = 2 };

/// An owner or group of files. One object serves all files of a scan.
class UserOrGroup : public EntityToObjectMapper {
public:
    /// The job makes these objects from the user database; a definition holds none.
    void inititializeObject(const Row& header, const Table& rows) override;

    static void printHeader(GenericPrint& out);

    /// Writes the entity under `entityName`, which tells an owner from a group.
    void printData(GenericPrint& out, const char* entityName) const;

    /// `ugName` "@" the domain's name; `ugName` alone without one.
    [[nodiscard]] std::string fullyQualifiedName() const;

    std::int32_t ugID = 0;       // user number; 0 in a group
    std::int32_t ugGroupID = 0;  // group number; 0 in a user
    std::string ugName;          // the number as text where there is none
    std::string ugDescription;
    const Domain* domain = nullptr;  // not owned; null on this platform
    std::int32_t ugDomainID = -1;
    std::int32_t ugRemoved = 0;  // not 0: the host does not know the number
    std::int32_t ugComputerID = -1;
    std::int32_t ugType = UG_USER;
    std::int32_t ugUserOrGroupType = UG_USER;  // always as ugType
};
