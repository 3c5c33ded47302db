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
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"

namespace {

/// Opens a directory without touching its access time where the caller may do so.
int openDirectory(int parent, const char* path, int flags, UniqueFd& directory) {
    const auto open = [&](int more) {
        return uninterrupted([&] { return openat(parent, path, kDirectoryFlags | more); });
    };
    directory.reset(open(flags | O_NOATIME));
    if (!directory && errno == EPERM)
        directory.reset(open(flags));
    return directory ? 0 : errno;
}

ssize_t readRecords(int directory, char* records, std::size_t size) {
    return uninterrupted([=] { return getdents64(directory, records, size); });
}

int readAttributes(int directory, const char* name, EntryStat& result) {
    struct statx status;
    const int flags = attributeFlags(name);
    const int rc =
        uninterrupted([&] { return statx(directory, name, flags, kAttributeMask, &status); });
    if (rc != 0)
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
        const int rc = fill();
        if (rc != 0 || position == filled) {
            buffer.reset();
            return rc;
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

/// Reads further names into the buffer; none at the end.
int DirectStream::fill() {
    if (failure != 0)
        return failure;
    if (!buffer)
        buffer.reset(new Buffer);
    position = filled = 0;
    if (suspended) {
        const int rc = goBack();
        if (rc != 0 || position < filled)
            return rc;
    }
    const ssize_t bytes = readRecords(fd.get(), buffer->records.data(), kBufferSize);
    if (bytes < 0)
        return errno;
    position = 0;
    filled = static_cast<std::size_t>(bytes);
    return 0;
}

/// Goes to where the names ended before the directory was suspended.
int DirectStream::goBack() {
    TraceScope scope("DirectStream::goBack");
    const std::unique_ptr<Suspended> was = std::move(suspended);
    char* const records = buffer->records.data();
    return findPosition(
        was->end, records, [this](off_t offset) { return lseek(fd.get(), offset, SEEK_SET); },
        [this, records] { return readRecords(fd.get(), records, kBufferSize); }, position,
        filled);
}

bool DirectStream::suspend() {
    TraceScope scope("DirectStream::suspend");
    EntryStat self;
    if (failure != 0 || readAttributes(fd.get(), "", self) != 0)
        return false;
    // A position that was not gone to yet is still the one to go to.
    if (!suspended) {
        suspended = std::make_unique<Suspended>();
        if (buffer)
            suspended->end = NamePosition::behind(buffer->records.data(), filled);
    }
    suspended->identity = self.identity;
    fd.reset();
    return true;
}

void DirectStream::resume(const DirectoryStream& child, const std::string& path) {
    TraceScope scope("DirectStream::resume");
    int rc = child.descriptor() >= 0 ? reopen(child.descriptor(), "..") : ENOENT;
    if (rc != 0)
        rc = reopen(AT_FDCWD, path.c_str());
    if (rc == 0)
        return;
    failure = rc;
    position = filled = 0;
}

/// Opens what must be the same directory: 0 or an errno value.
int DirectStream::reopen(int parent, const char* path) {
    TraceScope scope("DirectStream::reopen");
    UniqueFd directory;
    EntryStat found;
    int rc = openDirectory(parent, path, 0, directory);
    if (rc == 0)
        rc = readAttributes(directory.get(), "", found);
    if (rc == 0 && !found.identity.sameAs(suspended->identity))
        rc = ESTALE;
    if (rc == 0)
        fd = std::move(directory);
    return rc;
}

bool DirectStream::deviceTells() {
    TraceScope scope("DirectStream::deviceTells");
    struct statfs status {};
    return fstatfs(fd.get(), &status) != 0 || status.f_type != OVERLAYFS_SUPER_MAGIC;
}
