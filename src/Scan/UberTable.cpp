#include "Scan/UberTable.h"

#include "common/ut/TraceScope.h"

UserOrGroup* UberTable::stashOnUnix(std::unique_ptr<UserOrGroup> pUG, bool isGroup) {
    TraceScope scope("UberTable::stashOnUnix");
    if (!pUG) {
        trTrace(naMin,
                "UberTable::stashOnUnix() : ERROR: The UserOrGroup reference <pUG> is NULL. "
                "Leaving method.");
        return nullptr;
    }
    auto& entries = isGroup ? groups : users;
    const std::string name = pUG->ugName;
    return entries.try_emplace(name, std::move(pUG)).first->second.get();
}

UserOrGroup* UberTable::keepUnnamed(std::unique_ptr<UserOrGroup> entry) {
    TraceScope scope("UberTable::keepUnnamed");
    return unnamed.emplace_back(std::move(entry)).get();
}
