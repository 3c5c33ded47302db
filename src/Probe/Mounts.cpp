#include "Probe/Mounts.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstring>
#include <fcntl.h>
#include <mntent.h>
#include <string_view>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utility>

#include "Common/GenericException.h"
#include "Common/LogManager.h"
#include "Common/comutils.h"
#include "Common/unix/pssignal.h"
#include "Probe/Filesystem.h"
#include "Probe/guardedFiles.h"
#include "common/unx/systemCalls.h"
#include "common/unx/virtstat.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

constexpr std::size_t kLineLength = 1025;  // bytes of a row of the table
constexpr int kNoStatistics = 12;
constexpr int kNoDevice = 4;
constexpr int kDeviceUnreadable = 8;

// Sorted, for the binary search.
constexpr std::array<std::string_view, 19> kIgnoredTypes = {"auto",
                                                            "autofs",
                                                            "binfmt_misc",
                                                            "debugfs",
                                                            "devpts",
                                                            "dmpfs",
                                                            "fuse.gvfs-fuse-daemon",
                                                            "fusectl",
                                                            "iso9660",
                                                            "mvfs",
                                                            "nfsd",
                                                            "proc",
                                                            "rpc_pipefs",
                                                            "securityfs",
                                                            "smbfs",
                                                            "subfs",
                                                            "swap",
                                                            "usbdevfs",
                                                            "vxodmfs"};

bool isIgnored(std::string_view type) {
    return std::binary_search(kIgnoredTypes.begin(), kIgnoredTypes.end(), type);
}

/// True for a row that was cut where the line buffer ends, before its type or within it:
/// it tells a false place or a false kind.
bool isCut(const struct mntent& row, const std::array<char, kLineLength>& line) {
    const std::string_view type = row.mnt_type;
    return type.empty() || type.data() + type.size() >= line.data() + line.size() - 1;
}

/// The name of a device as it was given to mount(2). getmntent(3) undoes the kernel's
/// escapes but for that of "#", which keeps a name from looking like a comment.
std::string deviceName(std::string name) {
    static constexpr std::string_view kNumberSign = "\\043";
    for (std::size_t hit = name.find(kNumberSign); hit != std::string::npos;
         hit = name.find(kNumberSign, hit + 1))
        name.replace(hit, kNumberSign.size(), 1, '#');
    return name;
}

/// The figures of a file system, from statvfs or from what stands at the same places of
/// the guarded call's result. The unit of the block counts is `f_frsize` bytes.
struct SpaceFigures {
    std::uint64_t f_bsize;
    std::uint64_t f_frsize;
    std::uint64_t f_blocks;
    std::uint64_t f_bfree;
    std::uint64_t f_bavail;
    std::uint64_t f_files;
    std::uint64_t f_ffree;
    std::uint64_t f_favail;
};

/// 0, or an errno value.
int readFigures(const std::string& path, SpaceFigures& figures) {
    TraceScope scope("readFigures");
    struct statvfs status {};
    if (uninterrupted([&] { return statvfs(path.c_str(), &status); }) != 0)
        return errno;
    figures = {status.f_bsize,  status.f_frsize, status.f_blocks, status.f_bfree,
               status.f_bavail, status.f_files,  status.f_ffree,  status.f_favail};
    return 0;
}

/// The same through the guarded call.
// Meant: its record agrees with the other one from f_blocks to f_ffree only, so the block
// size comes from the type word and the free inodes from the file system's id.
int readFiguresGuarded(const std::string& path, int nfsTimeout, SpaceFigures& figures) {
    TraceScope scope("readFiguresGuarded");
    struct statfs status {};
    int error = 0;
    if (kelNFSsyscalls(path.c_str(), 0, &status, VIRTSTAT_STATFS, nfsTimeout, error) != 0)
        return error;
    std::uint64_t id = 0;
    static_assert(sizeof id == sizeof status.f_fsid);
    std::memcpy(&id, &status.f_fsid, sizeof id);
    figures = {static_cast<std::uint64_t>(status.f_type),
               static_cast<std::uint64_t>(status.f_bsize),
               status.f_blocks,
               status.f_bfree,
               status.f_bavail,
               status.f_files,
               status.f_ffree,
               id};
    return 0;
}

/// A count of blocks as a count of 512-byte units.
std::int64_t in512Bytes(std::uint64_t blocks, std::uint64_t blockSize) {
    return static_cast<std::int64_t>((blocks * blockSize) >> 9U);
}

std::uint32_t littleEndian32(const char* bytes) {
    std::uint32_t number = 0;
    for (unsigned i = 0; i < 4; ++i)
        number |= std::uint32_t{static_cast<unsigned char>(bytes[i])} << 8U * i;
    return number;
}

/// The device's size in 512-byte units, from the super block of ext file systems
/// (https://docs.kernel.org/filesystems/ext4/globals.html): 0 or 8.
// Meant: other types that come here get whatever these bytes hold on their devices.
int HandleExt2(const SharedFile& file, const Mounts& mounts, int nfsTimeout,
               std::int64_t& physicalSize) {
    TraceScope scope("HandleExt2");
    constexpr off_t superBlock = 1024;
    constexpr std::size_t blockLength = 256;
    if (lseek(file->get(), superBlock, SEEK_SET) != superBlock) {
        logMsg(message::STA0098E, {withErrnoText(mounts.type, errno)});
        return kDeviceUnreadable;
    }
    std::string block;
    int error = readFileInTime(file, mounts.device, blockLength, nfsTimeout, block);
    if (error == 0 && block.size() < blockLength)
        error = EIO;  // the device is too short
    if (error != 0) {
        logMsg(message::STA0099E, {withErrnoText(mounts.type, error)});
        return kDeviceUnreadable;
    }
    const std::uint32_t blockCount = littleEndian32(&block[4]);
    const std::uint32_t exponent = littleEndian32(&block[24]);  // of 1024-byte blocks
    const std::uint32_t size = exponent < 31 ? blockCount << (exponent + 1) : 0;
    // Meant: the size has 32 bits and a sign.
    physicalSize = static_cast<std::int32_t>(size);
    trTrace(naMin, "Got fsPhysicalSize = %ld (0x%X)\n", static_cast<long>(physicalSize), size);
    return 0;
}

/// Takes a shared lock on the whole file, as long as that takes, unless the job is told to
/// stop. It asks again and again: a waiting call that went on after the signal, or began just
/// behind it, would not end.
bool lockTable(int fd) {
    TraceScope scope("lockTable");
    constexpr std::chrono::milliseconds pause(50);
    struct flock lock {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    while (uninterrupted([&] { return fcntl(fd, F_SETLK, &lock); }) != 0) {
        if (errno != EACCES && errno != EAGAIN)
            return false;
        if (agentStop)
            throwScanAbort("Scan abort initiated by Server -> terminating scan");
        pauseFor(pause);
    }
    return true;
}

/// Reads all of a file, and adds a line end: a stream of no bytes cannot be opened.
bool readTable(int fd, std::string& content) {
    TraceScope scope("readTable");
    constexpr std::size_t piece = 65536;  // bytes
    content.clear();
    ssize_t got = 0;
    do {
        const std::size_t length = content.size();
        content.resize(length + piece);
        got = readWhole(fd, &content[length], piece);
        content.resize(length + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    } while (got == static_cast<ssize_t>(piece));
    content += '\n';
    return got >= 0;
}

}  // namespace

void Mounts::CloseStream::operator()(std::FILE* stream) const noexcept {
    std::fclose(stream);
}

Mounts::Mounts(std::string path) : tablePath(std::move(path)) {}

Mounts::~Mounts() = default;

void Mounts::nameClusters(int nfsTimeout) {
    TraceScope scope("Mounts::nameClusters");
    namesClusters = true;
    clusterTimeout = nfsTimeout;
}

bool Mounts::openMnttab() {
    TraceScope scope("Mounts::openMnttab");
    file.reset(openFile(tablePath.c_str(), O_RDONLY | O_CLOEXEC));
    if (file && !lockTable(file.get())) {
        logMsg(message::STA0095E, {withErrnoText(tablePath, errno)});
        file.reset();
        return false;
    }
    // Read at once: for a stream an interrupted call is the end of the file, and the file
    // systems of the other rows would not be scanned.
    if (file && readTable(file.get(), content))
        mnttab.reset(fmemopen(content.data(), content.size(), "r"));
    if (!mnttab) {
        logMsg(message::STA0094E, {withErrnoText(tablePath, errno)});
        file.reset();
    }
    return mnttab != nullptr;
}

bool Mounts::nextMount() {
    TraceScope scope("Mounts::nextMount");
    if (!mnttab)
        return false;

    std::array<char, kLineLength> line{};
    struct mntent row {};
    while (getmntent_r(mnttab.get(), &row, line.data(), static_cast<int>(line.size()))) {
        trTrace(naMax, ">> Current filesystem = %s, mntPt = %s, and fsType = %s ...\n",
                row.mnt_fsname, row.mnt_dir, row.mnt_type);
        options.clear();
        if (hasmntopt(&row, "loop"))
            options = "loop ";
        if (hasmntopt(&row, "bind"))
            options += "bind";
        type = row.mnt_type;
        if (isIgnored(type) || isCut(row, line))
            continue;

        mountPoint = row.mnt_dir;
        if (type.starts_with("grfs") || type.starts_with("gridfs")) {
            if (!namesClusters)
                continue;
            type = "gridfs";
            return getGridfsClusterName(mountPoint);
        }
        device = deviceName(row.mnt_fsname);
        return true;
    }
    mnttab.reset();
    file.reset();  // which gives back the lock, too
    return false;
}

/// The device of such a mount is the name of the first directory in it.
bool Mounts::getGridfsClusterName(const std::string& directory) {
    TraceScope scope("Mounts::getGridfsClusterName");
    SharedFile stream;
    device.clear();
    int error = openFileInTime(directory, O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC,
                               clusterTimeout, stream);
    if (error == 0)
        error = firstDirectoryInTime(stream, directory, clusterTimeout, device);
    if (error != 0)
        logMsg(message::STA0620E, {errnoText(error)});
    if (device.empty())
        logMsg(message::STA0622E);
    return !device.empty();
}

std::unique_ptr<Mounts> Mounts::copyRow() const {
    TraceScope scope("Mounts::copyRow");
    auto row = std::make_unique<Mounts>(tablePath);
    row->device = device;
    row->mountPoint = mountPoint;
    row->type = type;
    return row;
}

int Mounts::statFS(Filesystem& filesystem, int nfsTimeout) {
    TraceScope scope("Mounts::statFS");
    SpaceFigures figures{};
    const int error = nfsTimeout > 0 ? readFiguresGuarded(mountPoint, nfsTimeout, figures)
                                     : readFigures(mountPoint, figures);
    if (error != 0) {
        const std::string text = withErrnoText(mountPoint, error);
        logMsg(message::STA0096E, {text});
        if (logManager) {
            std::string report;
            logManager->getMsg(report, message::STA0096E.number, message::STA0096E.identifier,
                               {text});
            cuMsgOut(report + "\n");
        }
        trTrace(naMin, ">> statvfs() failed for path %s ... logged STA0096E\n",
                mountPoint.c_str());
        return kNoStatistics;
    }
    trTrace(naMin, ">> statvfs() succeed for path %s\n", mountPoint.c_str());
    trTrace(naMin,
            "f_bsize = %" PRIu64 ", f_frsize = %" PRIu64 ", f_blocks = %" PRIu64
            ", f_bfree = %" PRIu64 ", f_bavail = %" PRIu64 ", f_files = %" PRIu64
            ", f_ffree = %" PRIu64 ", f_favail = %" PRIu64 "\n",
            figures.f_bsize, figures.f_frsize, figures.f_blocks, figures.f_bfree,
            figures.f_bavail, figures.f_files, figures.f_ffree, figures.f_favail);
    if (figures.f_frsize == 0)
        figures.f_frsize = figures.f_bsize;

    if (type != "vxfs" && type != "reiserfs") {
        filesystem.fsMaxFiles = static_cast<std::int64_t>(figures.f_files);
        filesystem.fsFreeInodes = static_cast<std::int32_t>(figures.f_favail);
        filesystem.fsUsedInodes = static_cast<std::int32_t>(figures.f_files - figures.f_ffree);
    }
    filesystem.fsCapacity = in512Bytes(figures.f_blocks, figures.f_frsize);
    filesystem.fsFreeSpace = in512Bytes(figures.f_bavail, figures.f_frsize);
    // What an ordinary user cannot use: a reserve of the system counts as used.
    filesystem.fsUsedSpace = in512Bytes(figures.f_blocks - figures.f_bavail, figures.f_frsize);
    filesystem.fsPhysicalSize = filesystem.fsCapacity;
    trTrace(naMin,
            "1K blocks: capacity = %ld, free = %ld, used = %ld, used (old method) = %ld\n",
            static_cast<long>(filesystem.fsCapacity / 2),
            static_cast<long>(filesystem.fsFreeSpace / 2),
            static_cast<long>(filesystem.fsUsedSpace / 2),
            static_cast<long>(in512Bytes(figures.f_blocks - figures.f_bfree, figures.f_frsize) /
                              2));

    return GetPhysicalSize(filesystem, *this, nfsTimeout);
}

int Mounts::GetPhysicalSize(Filesystem& filesystem, const Mounts& mounts, int nfsTimeout) {
    TraceScope scope("Mounts::GetPhysicalSize");
    const std::string& type = mounts.type;
    if (!type.starts_with("ext") && !type.starts_with("msdos") && !type.starts_with("fat"))
        return 0;

    SharedFile opened;
    const int error =
        openFileInTime(mounts.device, O_RDONLY | O_CLOEXEC | O_NONBLOCK, nfsTimeout, opened);
    if (error != 0) {
        logMsg(message::STA0097E, {withErrnoText(mounts.device, error)});
        return kNoDevice;
    }
    return HandleExt2(opened, mounts, nfsTimeout, filesystem.fsPhysicalSize);
}
