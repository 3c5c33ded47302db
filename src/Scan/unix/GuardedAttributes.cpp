#include "Scan/unix/GuardedAttributes.h"

#include <cstring>
#include <utility>

#include "Scan/unix/guardedSteps.h"
#include "Scan/unix/systemEntry.h"
#include "common/unx/statTap.h"
#include "common/ut/TraceScope.h"

GuardedAttributes::GuardedAttributes(std::shared_ptr<const UniqueFd> directory,
                                     std::span<const EntryQuery> queries)
    : fd(std::move(directory)) {
    TraceScope scope("GuardedAttributes::GuardedAttributes");
    entries.reserve(queries.size());
    for (const EntryQuery& query : queries) {
        entries.push_back({names.size(), 0, {}});
        names.append(query.name, std::strlen(query.name) + 1);
    }
}

std::string GuardedAttributes::place() const {
    TraceScope scope("GuardedAttributes::place");
    // An entry can be where another file system is mounted, and that one is then asked.
    const std::string directory = pathOf(fd->get());
    return count < entries.size() ? directory + "/" + &names[entries[count].name] : directory;
}

std::size_t GuardedAttributes::answer(std::span<const EntryQuery> queries) const {
    TraceScope scope("GuardedAttributes::answer");
    for (std::size_t i = 0; i < count; ++i) {
        *queries[i].result = entries[i].stat;
        *queries[i].rc = entries[i].error;
    }
    return count;
}

// The code of the helper thread, which can be cancelled in a system call: no scope object.
int GuardedAttributes::run(StatContext& context) {
    std::int64_t now = monotonicNanoseconds();
    const std::int64_t end = now + kTripTime;
    for (std::size_t next = count; next < entries.size() && now < end; ++next) {
        Entry& entry = entries[next];
        entry.error = readStatus(fd->get(), &names[entry.name], status, entry.stat);
        now = monotonicNanoseconds();
        if (!context.publish(now, [&] { ++count; }))
            break;
    }
    return 0;
}
