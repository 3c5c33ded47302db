#include "Scan/unix/ScannerUnix.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <sys/stat.h>

#include "Common/LogManager.h"
#include "Scan/FileAttributes.h"
#include "Scan/FileInfo.h"
#include "Scan/unix/DirectStream.h"
#include "Scan/unix/systemEntry.h"
#include "common/unx/virtstat.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

/// The type of an entry by the format bits of its mode.
std::int32_t entryType(std::uint32_t mode) {
    static constexpr std::array<std::int32_t, 16> kTypes = {
        FA_UNKNOWN, FA_PIPE,    FA_DEVICE,  FA_UNKNOWN, FA_DIRECTORY, FA_UNKNOWN,
        FA_DEVICE,  FA_UNKNOWN, FA_FILE,    FA_UNKNOWN, FA_LINK,      FA_UNKNOWN,
        FA_SOCKET,  FA_UNKNOWN, FA_UNKNOWN, FA_UNKNOWN};
    return kTypes[(mode >> 12U) & 0xFU];
}

std::uint32_t entryFlags(std::uint32_t mode) {
    constexpr std::uint32_t specialBits = FA_SET_USER | FA_SET_GROUP | FA_STICKY;
    std::uint32_t flags = (mode << 11U) & specialBits;
    if (S_ISBLK(mode))
        flags |= FA_BLOCK_DEVICE;
    if (S_ISREG(mode) && (mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0)
        flags |= FA_EXECUTABLE;
    return flags;
}

/// The attributes of a root that could not be opened.
int guardedAttributes(const std::string& path, int timeoutSeconds, EntryStat& result) {
    TraceScope scope("guardedAttributes");
    struct stat status {};
    int error = 0;
    if (kelNFSsyscalls(path.c_str(), 0, &status, VIRTSTAT_LSTAT, timeoutSeconds, error) != 0)
        return error;
    result = entryStatOf(status);
    return 0;
}

}  // namespace

ScannerUnix::ScannerUnix(Filesystem* pFilesystem, const std::vector<FileAction*>& fileActions,
                         const std::vector<const SelectNode*>& filters, UserTable* users,
                         DirectoryReaderFactory* readerFactory, const std::string& mountPath,
                         std::int32_t timeout)
    : Scanner(pFilesystem, fileActions, filters, users, readerFactory, timeout) {
    TraceScope scope("ScannerUnix::ScannerUnix");
    if (!mountPath.empty())
        setLocalPath(mountPath);
}

bool ScannerUnix::Stat(FileInfo& info) {
    TraceScope scope("ScannerUnix::Stat");
    const int error = readAttributes(info);
    if (error != 0) {
        trTrace(naMin, ">> lstat() failed on %s: %s\n", info.name, errnoText(error).c_str());
        logMsg(message::STA0063E, {withErrnoText(info.name, error)});
        return false;
    }
    info.faType = entryType(info.stat.mode);
    info.attributes = entryFlags(info.stat.mode);
    if (info.faType == FA_DIRECTORY)
        info.stat.linkCount = 1;
    info.stat.accessed = std::max(info.stat.accessed, info.stat.modified);
    return true;
}

int ScannerUnix::readAttributes(FileInfo& info) const {
    // A path that the system would refuse in a call by path is refused here too, so that
    // the limit does not depend on how a directory was reached.
    const std::size_t prefix =
        localPath ? std::min(localPath->remoteLength, info.nameLength) : 0;
    const std::size_t replaced = localPath ? localPath->localText.size() : 0;
    if (info.nameLength - prefix + replaced >= PATH_MAX)
        return ENAMETOOLONG;
    if (info.stream)
        return info.stream->attributes(info.entryName, info.stat);
    const std::string root = localPathOf(info.name);
    return nfsTimeout > 0 ? guardedAttributes(root, nfsTimeout, info.stat)
                          : DirectStream::rootAttributes(root, info.stat);
}

void ScannerUnix::setLocalPath(const std::string& mountPath) {
    TraceScope scope("ScannerUnix::setLocalPath");
    localPath = std::make_unique<LocalPathInfo>();
    localPath->localText = mountPath;
    localPath->remoteLength = path.ends_with('/') ? path.size() - 1 : mountPath.size() + 1;
    localPath->maxLength = std::max(localPath->remoteLength, mountPath.size());
}
