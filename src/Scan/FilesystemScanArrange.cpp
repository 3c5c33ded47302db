/// The arrangement of a request: the order of its file systems, what is mounted on this
/// host, and which monitored directories lie on which file system.

#include <algorithm>
#include <cctype>

#include "Common/LogManager.h"
#include "Probe/Filesystem.h"
#include "Probe/Mounts.h"
#include "Scan/AgentScan.h"
#include "Scan/FilesystemScan.h"
#include "Scan/MonDirSpec.h"
#include "common/ut/TraceScope.h"

namespace {

char upper(char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

/// True if both texts have the same first `length` characters, in any case.
bool regionMatches(const std::string& left, const std::string& right, std::size_t length) {
    return left.size() >= length && right.size() >= length &&
           std::equal(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(length),
                      right.begin(), [](char a, char b) { return upper(a) == upper(b); });
}

void replaceAll(std::string& text, const std::string& from, char to) {
    for (std::size_t hit = text.find(from); hit != std::string::npos;
         hit = text.find(from, hit + 1))
        text.replace(hit, from.size(), 1, to);
}

bool compareFilesystemsByID(const Filesystem* left, const Filesystem* right) {
    if (!left || !right) {
        trTrace(naMin,
                "FilesystemScan::compareFilesystemsByID() : ERROR: At least one of the given "
                "filesystem ID references is NULL. Leaving method.");
        return false;
    }
    return left->fsID < right->fsID;
}

/// Links the members in their order; returns the head.
Filesystem* linked(const std::vector<Filesystem*>& members) {
    Filesystem* head = nullptr;
    for (auto member = members.rbegin(); member != members.rend(); ++member) {
        (*member)->next = head;
        head = *member;
    }
    return head;
}

}  // namespace

Filesystem* FilesystemScan::arrangeFilesystems(Filesystem* head) {
    TraceScope scope("FilesystemScan::arrangeFilesystems");
    if (!head)
        trTrace(naMin, "parameter <pFSList> is NULL.");
    std::vector<Filesystem*> members;
    for (; head; head = head->next)
        members.push_back(head);
    std::stable_partition(members.begin(), members.end(),
                          [](const Filesystem* member) { return !member->filer; });
    return linked(members);
}

void FilesystemScan::sortFilesystemsByID(AgentScan* request) {
    TraceScope scope("FilesystemScan::sortFilesystemsByID");
    std::vector<Filesystem*> members;
    for (Filesystem* member = request->getFilesystems(); member; member = member->next)
        members.push_back(member);
    if (members.empty())
        return;
    std::stable_sort(members.begin(), members.end(), compareFilesystemsByID);
    request->setFilesystems(linked(members));
}

std::int32_t FilesystemScan::makeMountsMap(MountsMap& map) {
    TraceScope scope("FilesystemScan::makeMountsMap");
    map.clear();
    if (handleMounts(map))
        return 0;
    trTrace(naMin, "handleMounts(...) returned false");
    return 4;
}

bool FilesystemScan::handleMounts(MountsMap& map) {
    TraceScope scope("FilesystemScan::handleMounts");
    Mounts table;
    if (!table.openMnttab()) {
        trTrace(naMin, "failed to open mount tab <open Mnttab()>.");
        return false;
    }
    bool allParsed = true;
    while (table.nextMount()) {
        std::string key = table.mountPoint;
        if (table.type.starts_with("nfs")) {
            const std::size_t hostEnd = table.device.find(":/");
            if (hostEnd == 0 || hostEnd == std::string::npos) {
                logMsg(message::NAA0039W, {table.device});
                trTrace(naMin, ">> Import could not be parsed: %s\n", table.device.c_str());
                allParsed = false;
                continue;
            }
            key = table.device;
            std::transform(key.begin(), key.begin() + static_cast<std::ptrdiff_t>(hostEnd),
                           key.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        } else if (table.type.starts_with("gridfs")) {
            key = table.device;
        }
        // A key that is already present keeps its first row.
        map.try_emplace(key, table.copyRow());
    }
    return allParsed;
}

std::vector<std::string> FilesystemScan::candidateKeys(const Filesystem& filesystem) {
    TraceScope scope("FilesystemScan::candidateKeys");
    // File systems of filers have no keys yet and are reported as not mounted.
    if (filesystem.filer)
        return {};
    return {filesystem.fsMountPoint};
}

Mounts* FilesystemScan::findMount(const MountsMap& map, const std::vector<std::string>& keys) {
    TraceScope scope("FilesystemScan::findMount");
    for (const std::string& key : keys) {
        const auto found = map.find(key);
        if (found != map.end() && found->second)
            return found->second.get();
        trTrace(naMin, "No entry found for %s! Tryin next...\n", key.c_str());
    }
    return nullptr;
}

bool FilesystemScan::maskedPath(MonDirSpec* dirSpec) {
    TraceScope scope("FilesystemScan::maskedPath");
    const std::string& path = dirSpec->getMdsPath();
    const std::size_t slash = path.find('/');
    bool masked = false;
    for (std::size_t i = slash == std::string::npos ? 0 : slash + 1; i < path.size() && !masked;
         ++i) {
        if (path[i] == '&')
            ++i;  // the next character stands for itself
        else
            masked = path[i] == '*' || path[i] == '?' || path[i] == '[';
    }
    dirSpec->setMdsMaskedPath(masked);
    return masked;
}

FilesystemScan::Slashes FilesystemScan::findSlashes(const std::string& path) {
    TraceScope scope("FilesystemScan::findSlashes");
    Slashes found;
    found.length = path.ends_with('/') ? path.size() - 1 : path.size();
    for (std::size_t i = 0; i < found.length; ++i) {
        if (path[i] == '/') {
            found.start = i + 1;
            found.count += 1;
        }
    }
    return found;
}

std::string FilesystemScan::normalisedPath(std::string path) {
    TraceScope scope("FilesystemScan::normalisedPath");
    replaceAll(path, R"(\\)", '/');
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

std::int32_t FilesystemScan::depthBelow(const std::string& root, const MonDirSpec& dirSpec) {
    TraceScope scope("FilesystemScan::depthBelow");
    const std::string& directory = dirSpec.getMdsPath();
    const Slashes rootSlashes = findSlashes(root);
    const Slashes slashes = findSlashes(directory);
    const std::int32_t depth = slashes.count - rootSlashes.count;
    if (depth < 0)
        return -1;

    std::size_t compared = rootSlashes.length + 1;
    if (depth == 0 && dirSpec.getMdsMaskedPath()) {
        compared = rootSlashes.start;
        if (slashes.start != compared)
            return -1;
    } else if (depth == 0) {
        compared = rootSlashes.length;
        if (slashes.length != compared)
            return -1;
    }
    return regionMatches(root, directory, compared) ? depth : -1;
}

std::string FilesystemScan::qualifiedFSName(const Filesystem& filesystem) {
    TraceScope scope("FilesystemScan::qualifiedFSName");
    if (!filesystem.filer)
        return filesystem.fsMountPoint;
    return filesystem.fsMountPoint + " (" + filesystem.filer->nfName + ")";
}
