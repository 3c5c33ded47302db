#include "Scan/unix/UnixUserTable.h"

#include <string>
#include <utility>

#include "Scan/UberTable.h"
#include "Scan/UserOrGroup.h"
#include "common/ut/TraceScope.h"

namespace {

/// An entry that goes by its number.
std::unique_ptr<UserOrGroup> newEntry(std::int32_t number, bool isGroup) {
    auto entry = std::make_unique<UserOrGroup>();
    if (isGroup) {
        entry->ugType = entry->ugUserOrGroupType = UG_GROUP;
        entry->ugGroupID = number;
    } else {
        entry->ugID = number;
    }
    entry->ugName = std::to_string(static_cast<std::uint32_t>(number));
    return entry;
}

}  // namespace

UnixUserTable::UnixUserTable(UberTable& table, std::int32_t timeout,
                             const UserDatabase::Calls& calls)
    : UserTable(table), database(timeout, calls) {}

const UserOrGroup* UnixUserTable::lookup(const Sid& pSid, bool isGroup) {
    TraceScope scope("UnixUserTable::lookup");
    currentKey = pSid.get();
    Recents& recents = (isGroup ? groupSide : ownerSide).recents;
    Recent& recent = recents[static_cast<std::uint32_t>(currentKey) % recents.size()];
    if (!recent.entry || recent.number != currentKey)
        recent = {currentKey, search(isGroup)};
    return recent.entry;
}

const UserOrGroup* UnixUserTable::search(bool isGroup) {
    TraceScope scope("UnixUserTable::search");
    auto& known = isGroup ? groups : users;
    const auto found = known.find(currentKey);
    if (found != known.end())
        return found->second;

    const UserOrGroup* const entry = askSystem(isGroup);
    known[currentKey] = entry;
    return entry;
}

const UserOrGroup* UnixUserTable::askSystem(bool isGroup) {
    TraceScope scope("UnixUserTable::askSystem");
    UserDatabase::Answer answer = database.ask(static_cast<std::uint32_t>(currentKey), isGroup);
    if (answer.error != 0) {
        Side& side = isGroup ? groupSide : ownerSide;
        side.failed.push_back(currentKey);
        const UserOrGroup*& entry = side.unnamed[currentKey];
        if (!entry)
            entry = uberTable->keepUnnamed(newEntry(currentKey, isGroup));
        return entry;
    }
    std::unique_ptr<UserOrGroup> entry = newEntry(currentKey, isGroup);
    if (!answer.known) {
        entry->ugRemoved = 1;
        return uberTable->keepUnnamed(std::move(entry));
    }
    entry->ugName = std::move(answer.name);
    entry->ugDescription = std::move(answer.description);
    if (isGroup)
        trTrace(naMin, " group name : %s\n", entry->ugName.c_str());
    else
        trTrace(naMin, "user name: %s; description: %s\n", entry->ugName.c_str(),
                entry->ugDescription.c_str());
    // Two numbers of one name share the object of the first.
    return uberTable->stashOnUnix(std::move(entry), isGroup);
}

UnixUserTable::Failures UnixUserTable::takeFailures() {
    TraceScope scope("UnixUserTable::takeFailures");
    return {forgetFailures(ownerSide, users), forgetFailures(groupSide, groups)};
}

std::size_t UnixUserTable::forgetFailures(Side& side,
                                          std::map<std::int32_t, const UserOrGroup*>& known) {
    TraceScope scope("UnixUserTable::forgetFailures");
    const std::vector<std::int32_t> failed = std::exchange(side.failed, {});
    for (const std::int32_t number : failed)
        known.erase(number);
    if (!failed.empty())
        side.recents = {};
    return failed.size();
}
