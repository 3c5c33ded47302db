/// What is mounted where: the host's mount table by key, and the keys under which a file
/// system of a request may stand in it. An export of a filer is mounted under whatever name
/// of the filer somebody wrote, so each of its names is tried.

#include <algorithm>
#include <cctype>

#include "Common/GenericException.h"
#include "Common/LogManager.h"
#include "Common/unix/pssignal.h"
#include "Probe/Filesystem.h"
#include "Probe/Mounts.h"
#include "Scan/AgentScan.h"
#include "Scan/FilesystemScan.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::int16_t kFewKeys = 23;  // NasFiler::nfOSType

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// The text without the blanks around it.
std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string inBrackets(const std::string& address) {
    return "[" + address + "]";
}

/// The keys of a kind of filer that goes by its name alone.
// Meant: no import has the first key, for imports have a path; and the export that the
// second stands for is not the one of other filers, "vol/vol0".
std::vector<std::string> fewKeys(const NasFiler& filer, const std::string& exported) {
    TraceScope scope("fewKeys");
    std::vector<std::string> keys = {filer.nfName};
    if (!filer.nfNetworkName.empty() && exported == "/vol/vol0")
        keys.push_back(filer.nfNetworkName + ":/");
    return keys;
}

/// True for what can be the name of a directory and stand for a cluster.
bool isClusterName(const std::string& key) {
    return !key.empty() && key.front() != '.' && key.find('/') == std::string::npos;
}

/// True if the file system can be a cluster. Asks for no address: see candidateKeys().
bool mayBeCluster(const Filesystem& filesystem) {
    TraceScope scope("mayBeCluster");
    if (filesystem.filer && filesystem.filer->nfOSType == kFewKeys)
        return isClusterName(filesystem.filer->nfName);
    return isClusterName(filesystem.filer ? "name:" + filesystem.fsMountPoint
                                          : filesystem.fsMountPoint);
}

}  // namespace

std::int32_t FilesystemScan::makeMountsMap(MountsMap& map, bool resolve) {
    TraceScope scope("FilesystemScan::makeMountsMap");
    map.clear();
    Mounts table;
    // A mount that nobody asks for may be dead, so none is asked for its name without need.
    Filesystem* member = scanObject ? scanObject->getFilesystems() : nullptr;
    while (member && !mayBeCluster(*member))
        member = member->next;
    if (member)
        table.nameClusters(nfsTimeout);
    if (handleMounts(map, table, resolve))
        return 0;
    trTrace(naMin, "handleMounts(...) returned false");
    return 4;
}

bool FilesystemScan::handleMounts(MountsMap& map, Mounts& table, bool resolve) {
    TraceScope scope("FilesystemScan::handleMounts");
    if (!table.openMnttab()) {
        trTrace(naMin, "failed to open mount tab <open Mnttab()>.");
        return false;
    }
    bool allParsed = true;
    MountsMap hostAliasMap;
    while (table.nextMount()) {
        const std::shared_ptr<Mounts> row = table.copyRow();
        if (!row->type.starts_with("nfs")) {
            const bool isCluster = row->type.starts_with("gridfs");
            map.try_emplace(isCluster ? row->device : row->mountPoint, row);
            continue;
        }
        const std::size_t hostEnd = row->device.find(":/");
        if (hostEnd == 0 || hostEnd == std::string::npos) {
            logMsg(message::NAA0039W, {row->device});
            trTrace(naMin, ">> Import could not be parsed: %s\n", row->device.c_str());
            allParsed = false;
            continue;
        }
        const std::string host = lowerCase(row->device.substr(0, hostEnd));
        const std::string path = row->device.substr(hostEnd);
        map.try_emplace(host + path, row);
        const std::string address = resolve ? addressForm(host) : std::string();
        if (!address.empty() && address != host)
            hostAliasMap.try_emplace(address + path, row);
    }
    map.merge(hostAliasMap);  // a name that somebody wrote wins over an address
    return allParsed;
}

/// The address of a host as it stands before an import's path; empty if there is none.
std::string FilesystemScan::addressForm(const std::string& host) {
    TraceScope scope("FilesystemScan::addressForm");
    const InetAddress::Host& found = lookUpOnce(host);
    const std::string address = lowerCase(trimmed(found.address));
    const bool wrap = found.firstIsIPv6 && !address.empty() && !address.starts_with('[');
    return wrap ? inBrackets(address) : address;
}

/// Asks the resolver once for each host of a job, and not any more when the job was told
/// to stop: with a dead name service each question takes its time-out.
const InetAddress::Host& FilesystemScan::lookUpOnce(const std::string& host) {
    TraceScope scope("FilesystemScan::lookUpOnce");
    if (agentStop) {
        trTrace(naMin, "FilesystemScan::lookUpOnce() : agentStop is true");
        throwScanAbort("Scan abort initiated by Server -> terminating scan");
    }
    const auto [entry, isNew] = hosts.try_emplace(lowerCase(host));
    if (isNew)
        entry->second = InetAddress::lookUp(host);
    return entry->second;
}

// Meant: the host in a key of the map is in lower case and the names here are as the request
// has them, so a filer whose name has capitals is found under its address alone.
std::vector<std::string> FilesystemScan::candidateKeys(const Filesystem& filesystem) {
    TraceScope scope("FilesystemScan::candidateKeys");
    const std::string& mountPoint = filesystem.fsMountPoint;
    if (!filesystem.filer)
        return {mountPoint};
    const NasFiler& filer = *filesystem.filer;
    if (filer.nfOSType == kFewKeys)
        return fewKeys(filer, mountPoint);

    const std::string ipAddress = trimmed(filer.nfIPAddress);
    std::vector<std::string> names = {trimmed(filer.nfNetworkName), trimmed(filer.nfName),
                                      ipAddress};
    if (!ipAddress.empty()) {
        // Meant: only an address that has its brackets gets another pair.
        const std::string found = lookUpOnce(ipAddress).address;
        const std::string address = found.starts_with('[') ? inBrackets(found) : found;
        if (address != ipAddress)
            names.push_back(address);
    }
    std::vector<std::string> paths = {mountPoint};
    if (mountPoint == "vol/vol0")
        paths.emplace_back("/");

    std::vector<std::string> keys;
    for (const std::string& name : names) {
        for (const std::string& path : paths) {
            if (!name.empty())
                keys.emplace_back(name).append(":").append(path);
        }
    }
    return keys;
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

std::string FilesystemScan::qualifiedFSName(const Filesystem& filesystem) {
    TraceScope scope("FilesystemScan::qualifiedFSName");
    if (!filesystem.filer)
        return filesystem.fsMountPoint;
    return filesystem.fsMountPoint + " (" + filesystem.filer->nfName + ")";
}
