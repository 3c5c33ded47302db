#include "Scan/unix/DirectStream.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <utility>

#include "Scan/unix/systemEntry.h"
#include "common/ut/TraceScope.h"

namespace {

/// Opens a directory without touching its access time where the caller may do so.
int openDirectory(int parent, const char* path, int flags, UniqueFd& directory) {
    directory.reset(openat(parent, path, kDirectoryFlags | flags | O_NOATIME));
    if (!directory && errno == EPERM)
        directory.reset(openat(parent, path, kDirectoryFlags | flags));
    return directory ? 0 : errno;
}

int readAttributes(int directory, const char* name, EntryStat& result) {
    struct statx status;
    if (statx(directory, name, attributeFlags(name), kAttributeMask, &status) != 0)
        return errno;
    result = entryStatOf(status);
    return 0;
}

}  // namespace

int DirectStream::openRoot(const std::string& path, std::unique_ptr<DirectoryStream>& root) {
    TraceScope scope("DirectStream::openRoot");
    UniqueFd directory;
    const int rc = openDirectory(AT_FDCWD, path.c_str(), 0, directory);
    if (rc == 0)
        root.reset(new DirectStream(std::move(directory)));
    return rc;
}

int DirectStream::rootAttributes(const std::string& path, EntryStat& result) {
    TraceScope scope("DirectStream::rootAttributes");
    return readAttributes(AT_FDCWD, path.c_str(), result);
}

int DirectStream::next(const char*& name) {
    TraceScope scope("DirectStream::next");
    name = nullptr;
    if (position == filled) {
        if (!buffer)
            buffer.reset(new Buffer);
        const ssize_t bytes = getdents64(fd.get(), buffer->records.data(), kBufferSize);
        const int error = errno;
        position = 0;
        filled = bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
        if (filled == 0) {
            buffer.reset();
            return bytes < 0 ? error : 0;
        }
    }
    const auto* const record = reinterpret_cast<const dirent64*>(&buffer->records[position]);
    position += record->d_reclen;
    name = record->d_name;
    return 0;
}

int DirectStream::attributes(const char* name, EntryStat& result) {
    TraceScope scope("DirectStream::attributes");
    return readAttributes(fd.get(), name, result);
}

int DirectStream::open(const char* name, const WalkPlace& place,
                       std::unique_ptr<DirectoryStream>& child) {
    TraceScope scope("DirectStream::open");
    UniqueFd directory;
    int rc = openDirectory(fd.get(), name, O_NOFOLLOW, directory);
    if (rc != 0)
        return rc;

    EntryStat opened;
    rc = readAttributes(directory.get(), "", opened);
    if (rc != 0)
        return rc;
    if (!place.holds(opened.identity, true))
        return ESTALE;
    child.reset(new DirectStream(std::move(directory)));
    return 0;
}

bool DirectStream::deviceTells() {
    TraceScope scope("DirectStream::deviceTells");
    struct statfs status {};
    return fstatfs(fd.get(), &status) != 0 || status.f_type != OVERLAYFS_SUPER_MAGIC;
}
