#include "Scan/NMost.h"

#include <algorithm>
#include <cstddef>

#include "Scan/Accumulator.h"
#include "common/ut/TraceScope.h"

bool NMost::isLarger(const Member& left, const Member& right) {
    return right.order < left.order;
}

// Meant: an equal newcomer never gets into a full list, and the older of equal members is
// the first to go when a larger one comes.
bool NMost::mustAdd(const Accumulator* caller, std::int64_t key) {
    TraceScope scope("NMost::mustAdd");
    candidateKey = key;
    const bool full = static_cast<std::int64_t>(members.size()) >= maxToRetain;
    if (full && (members.empty() || key <= members.front().order.key))
        return false;
    trTrace(naMax, "%s may add an entry of key %lld", caller ? caller->getClassName() : "-",
            static_cast<long long>(key));
    return true;
}

void NMost::add(std::unique_ptr<Object> member) {
    TraceScope scope("NMost::add");
    if (!member) {
        trTrace(naMin, "NMost::add() : ERROR: The member is NULL. Leaving method.");
        return;
    }
    members.push_back({
        Orderer{candidateKey, nextSequence++},
        std::move(member)
    });
    std::push_heap(members.begin(), members.end(), isLarger);
    if (static_cast<std::int64_t>(members.size()) > maxToRetain) {
        std::pop_heap(members.begin(), members.end(), isLarger);
        members.pop_back();
    }
}

std::vector<std::unique_ptr<Object>> NMost::takeMembers() {
    TraceScope scope("NMost::takeMembers");
    std::sort(members.begin(), members.end(),
              [](const Member& left, const Member& right) { return left.order < right.order; });
    std::vector<std::unique_ptr<Object>> objects;
    objects.reserve(members.size());
    for (Member& member : members)
        objects.push_back(std::move(member.object));
    members.clear();
    return objects;
}
