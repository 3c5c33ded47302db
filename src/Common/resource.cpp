#include "Common/resource.h"

#include <chrono>
#include <set>
#include <unistd.h>
#include <vector>

#include "Common/ResourceFile.h"
#include "Common/unix/psnautil.h"
#include "Common/unix/pssignal.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"
#include "common/ut/makeDirPath.h"

namespace {

// Seconds, one for each try. A stop must not wait for minutes, and yet release its locks.
constexpr int kMaxWait = 180;
constexpr int kMaxWaitStopped = 2;

std::string logDirectory(const std::string& installLoc) {
    return installLoc + "/" + "log";
}

/// What this process has taken, as file and resource. Process ids come again, in a
/// container after every start, so an entry with our id need not be ours.
std::set<std::string>& heldResources() {
    static std::set<std::string> names;
    return names;
}

std::string heldName(const std::string& file, const std::string& resource) {
    return file + "\n" + resource;
}

/// True if the entry is of another process that runs.
bool isOfOther(const ResourceFile::Entry& entry) {
    return entry.processId != getpid() && psIsProcessRunning(entry.processId, nullptr);
}

/// Adds an entry to the open file unless the resource is held.
int addEntry(ResourceFile& file, const std::string& resource, bool held) {
    TraceScope scope("addEntry");
    std::vector<ResourceFile::Entry> kept;
    bool stale = false;
    for (const ResourceFile::Entry& entry : file.getEntries()) {
        if (entry.resource != resource) {
            kept.push_back(entry);
            continue;
        }
        trTrace(naMin, "found resource %s\n", resource.c_str());
        if (entry.processId == getpid() && held) {
            trTrace(naMin, "resource %s is already locked by this process\n", resource.c_str());
            static_cast<void>(file.discard());
            return RESOURCE_ALREADY_HELD;
        }
        if (isOfOther(entry)) {
            trTrace(naMin, "resource %s locked by pid %d\n", resource.c_str(), entry.processId);
            static_cast<void>(file.discard());
            return RESOURCE_LOCKED;
        }
        trTrace(naMin, "resource not locked by another process\n");
        stale = true;
    }
    const ResourceFile::Entry own = ResourceFile::ownEntry(resource);
    if (!stale)
        return file.append(own);
    kept.push_back(own);
    return file.replace(kept);
}

/// Takes the resource's entries out of the open file.
int removeEntry(ResourceFile& file, const std::string& resource) {
    TraceScope scope("removeEntry");
    std::vector<ResourceFile::Entry> kept;
    for (const ResourceFile::Entry& entry : file.getEntries()) {
        if (entry.resource != resource) {
            kept.push_back(entry);
            continue;
        }
        trTrace(naMin, "found resource %s\n", resource.c_str());
        // Meant: the entry of a dead process may be released by anybody.
        if (isOfOther(entry)) {
            trTrace(naMin, "resource lock by another process: %d\n", entry.processId);
            static_cast<void>(file.discard());
            return RESOURCE_LOCKED;
        }
    }
    if (kept.size() < file.getEntries().size())
        return file.replace(kept);
    trTrace(naMin, "resource %s is not locked\n", resource.c_str());
    static_cast<void>(file.discard());
    return RESOURCE_NOT_HELD;
}

}  // namespace

std::string getResourceFileName(int kind, const std::string& installLoc) {
    TraceScope scope("getResourceFileName");
    const char* const name = kind == RESOURCE_SCAN        ? "vex_scan_res"
                             : kind == RESOURCE_DBMONITOR ? "vex_dbmonitor_res"
                                                          : "vex_def_res";
    return logDirectory(installLoc) + "/" + name;
}

std::unique_ptr<Filelock> createResourceLockFile(int kind, const std::string& installLoc) {
    TraceScope scope("createResourceLockFile");
    const std::string path = getResourceFileName(kind, installLoc) + ".lck";
    auto lock = std::make_unique<Filelock>(path);
    int rc = lock->lockFile();
    for (int tries = 0; rc == Filelock::LOCKED; ++tries) {
        if (tries >= (agentStop ? kMaxWaitStopped : kMaxWait)) {
            trTrace(naMin, "timed out waiting to get lock, %d seconds elapsed", tries);
            break;
        }
        trTrace(naMin, "waiting to get lock on %s\n", path.c_str());
        pauseFor(std::chrono::seconds(1));
        rc = lock->lockFile();
    }
    if (rc == Filelock::SUCCESS)
        return lock;
    if (rc != Filelock::LOCKED)
        trTrace(naMin, "error trying to lock file %s, rc: %d", path.c_str(), rc);
    trTrace(naMin, "Unable to lock file\n");
    return nullptr;
}

int deleteResourceLockFile(std::unique_ptr<Filelock> lock) {
    TraceScope scope("deleteResourceLockFile");
    return lock ? 0 : RESOURCE_FAILED;  // the object gives the lock back as it goes
}

int lockResource(const std::string& resource, int kind, const std::string& installLoc) {
    TraceScope scope("lockResource");
    const std::string directory = logDirectory(installLoc);
    if (makeDirPath(directory) != 0) {
        trTrace(naMin, "Unable to create path %s\n", directory.c_str());
        return RESOURCE_FAILED;
    }
    std::unique_ptr<Filelock> lock = createResourceLockFile(kind, installLoc);
    if (!lock)
        return RESOURCE_FAILED;

    const std::string path = getResourceFileName(kind, installLoc);
    const std::string name = heldName(path, resource);
    ResourceFile file(path);
    int rc = RESOURCE_FAILED;
    if (file.create() == 0 && file.open() == 0)
        rc = addEntry(file, resource, heldResources().contains(name));
    if (rc == 0)
        heldResources().insert(name);
    deleteResourceLockFile(std::move(lock));
    return rc;
}

int unlockResource(const std::string& resource, int kind, const std::string& installLoc) {
    TraceScope scope("unlockResource");
    std::unique_ptr<Filelock> lock = createResourceLockFile(kind, installLoc);
    if (!lock)
        return RESOURCE_FAILED;

    const std::string path = getResourceFileName(kind, installLoc);
    ResourceFile file(path);
    const int rc = file.open() == 0 ? removeEntry(file, resource) : RESOURCE_FAILED;
    if (rc == 0 || rc == RESOURCE_NOT_HELD)
        heldResources().erase(heldName(path, resource));
    deleteResourceLockFile(std::move(lock));
    return rc;
}
