#include "common/unx/ownFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

#include "common/unx/systemCalls.h"

namespace {

constexpr int kFlags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr mode_t kModeBits = 07777;

/// Opens a regular file and tells its mode.
UniqueFd openChecked(const char* path, int flags, mode_t mode, mode_t& found) {
    UniqueFd file(openFile(path, flags | kFlags, mode));
    if (!file)
        return file;
    struct stat status {};
    int error = fstat(file.get(), &status) == 0 ? 0 : errno;
    if (error == 0 && !S_ISREG(status.st_mode))
        error = EINVAL;
    if (error != 0) {
        file.reset();
        errno = error;
    }
    found = status.st_mode & kModeBits;
    return file;
}

}  // namespace

UniqueFd openRegular(const char* path, int flags, bool followLink) {
    mode_t found = 0;
    return openChecked(path, flags | (followLink ? 0 : O_NOFOLLOW), 0, found);
}

UniqueFd openOwnFile(const char* path, int flags, mode_t mode) {
    mode_t found = 0;
    UniqueFd file = openChecked(path, flags | O_NOFOLLOW, mode, found);
    // A file system without modes refuses; what it shows is all there is.
    if (file && (found & ~mode) != 0)
        static_cast<void>(fchmod(file.get(), found & mode));
    return file;
}

bool isAtPath(int file, const char* path) {
    struct stat open {};
    struct stat named {};
    return fstat(file, &open) == 0 && lstat(path, &named) == 0 && open.st_dev == named.st_dev &&
           open.st_ino == named.st_ino;
}
