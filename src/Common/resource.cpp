#include "Common/resource.h"

#include <set>

#include "common/ut/TraceScope.h"

namespace {

std::set<std::string>& heldResources() {
    static std::set<std::string> names;
    return names;
}

}  // namespace

int lockResource(const std::string& resource, int /*kind*/, const std::string& /*installLoc*/) {
    TraceScope scope("lockResource");
    if (heldResources().insert(resource).second)
        return 0;
    trTrace(naMin, "resource %s is already locked by this process\n", resource.c_str());
    return RESOURCE_ALREADY_HELD;
}

int unlockResource(const std::string& resource, int /*kind*/,
                   const std::string& /*installLoc*/) {
    TraceScope scope("unlockResource");
    if (heldResources().erase(resource) != 0)
        return 0;
    trTrace(naMin, "resource %s is not locked\n", resource.c_str());
    return RESOURCE_NOT_HELD;
}
