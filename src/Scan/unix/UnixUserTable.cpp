#include "Scan/unix/UnixUserTable.h"

#include <grp.h>
#include <pwd.h>
#include <string>

#include "Scan/UberTable.h"
#include "Scan/UserOrGroup.h"
#include "common/ut/TraceScope.h"

const UserOrGroup* UnixUserTable::lookup(const Sid& pSid, bool isGroup) {
    TraceScope scope("UnixUserTable::lookup");
    currentKey = pSid.get();
    Recents& recents = isGroup ? recentGroups : recentUsers;
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

    // Two numbers of one name share the object of the first.
    const UserOrGroup* const entry =
        uberTable->stashOnUnix(askSystem(currentKey, isGroup), isGroup);
    known[currentKey] = entry;
    return entry;
}

std::unique_ptr<UserOrGroup> UnixUserTable::askSystem(std::int32_t number, bool isGroup) {
    TraceScope scope("UnixUserTable::askSystem");
    auto entry = std::make_unique<UserOrGroup>();
    if (isGroup) {
        entry->ugType = entry->ugUserOrGroupType = UG_GROUP;
        entry->ugGroupID = number;
        const struct group* const group = getgrgid(static_cast<gid_t>(number));
        if (group) {
            entry->ugName = group->gr_name;
            trTrace(naMin, " group name : %s\n", entry->ugName.c_str());
        }
        entry->ugRemoved = group ? 0 : 1;
    } else {
        entry->ugID = number;
        const struct passwd* const user = getpwuid(static_cast<uid_t>(number));
        if (user) {
            entry->ugName = user->pw_name;
            entry->ugDescription = user->pw_gecos ? user->pw_gecos : "";
            trTrace(naMin, "user name: %s; description: %s\n", entry->ugName.c_str(),
                    entry->ugDescription.c_str());
        }
        entry->ugRemoved = user ? 0 : 1;
    }
    if (entry->ugRemoved != 0)
        entry->ugName = std::to_string(static_cast<std::uint32_t>(number));
    return entry;
}
