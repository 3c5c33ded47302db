#include "Scan/UserOrGroupAccum.h"

#include "Probe/Filesystem.h"
#include "Scan/CuStatResults.h"
#include "Scan/FileAttributes.h"
#include "Scan/UserOrGroup.h"
#include "common/ut/TraceScope.h"

UserOrGroupAccum::UserOrGroupAccum(Kind kind, const Filesystem* pFilesystem)
    : Accumulator("UserOrGroupAccum"),
      filesystem(pFilesystem),
      members(std::make_unique<OwnerTable>()),
      isGroup(kind) {
    TraceScope scope("UserOrGroupAccum::UserOrGroupAccum");
}

void UserOrGroupAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("UserOrGroupAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    if (!members)
        return;
    const UserOrGroup* const identity = isGroup ? pInfo->faGroup : pInfo->faOwner;
    if (!identity) {
        if (isGroup)
            trTrace(naMin, "pInfo->faGroup is null for %s\n", pInfo->faName.c_str());
        else
            trTrace(naMin, "pInfo>faOwner is null for %s\n", pInfo->faName.c_str());
        return;
    }
    members->add(isGroup ? identity->ugGroupID : identity->ugID, identity, *pInfo);
}

void UserOrGroupAccum::finish(CuStatResults* results) {
    TraceScope scope("UserOrGroupAccum::finish");
    if (!results || !members)
        return;
    members->complete(filesystem->fsID, results->srID, filesystem->fsScanTime);
    if (members->empty())
        members.reset();
    (isGroup ? results->srGroups : results->srOwners) = std::move(members);
}
