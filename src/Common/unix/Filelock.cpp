#include "Common/unix/Filelock.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

#include "common/unx/ownFile.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr int kMaxReplaced = 1000;  // times; more mean that inode numbers do not hold here

/// The descriptor to look at a file with: the one that holds its lock if there is one,
/// since closing any other would give the lock back.
int openForReading(const UniqueFd& held, const std::string& path, UniqueFd& own) {
    if (!held)
        own = openRegular(path.c_str(), O_RDONLY);
    return held ? held.get() : own.get();
}

/// lockf() on the whole file.
int lockWhole(int fd, int command) {
    return uninterrupted([=] { return lockf(fd, command, 0); });
}

}  // namespace

Filelock::Filelock(std::string lockPath) : path(std::move(lockPath)) {}

Filelock::~Filelock() {
    if (fd)
        unlockFile();
}

int Filelock::lockFile() {
    TraceScope scope("Filelock::lockFile");
    if (fd)
        return SUCCESS;
    // Between opening and locking the holder before us may have removed the file: then
    // others lock a new one, and the lock on the old one keeps nobody out.
    for (int again = 0; again < kMaxReplaced; ++again) {
        const int rc = openAndLock();
        if (rc == SUCCESS && isAtPath(fd.get(), path.c_str()))
            return SUCCESS;
        fd.reset();
        if (rc != SUCCESS)
            return rc;
    }
    return LOCK_FAILED;
}

int Filelock::openAndLock() {
    TraceScope scope("Filelock::openAndLock");
    fd = openOwnFile(path.c_str(), O_RDWR | O_CREAT, 0700);
    if (!fd)
        return LOCK_FAILED;
    if (lockWhole(fd.get(), F_TLOCK) == 0)
        return SUCCESS;
    return errno == EACCES || errno == EAGAIN ? LOCKED : LOCK_FAILED;
}

int Filelock::unlockFile() {
    TraceScope scope("Filelock::unlockFile");
    if (!fd)
        return UNLOCK_FAILED;
    // Meant: the name goes first. Once the lock is given back it may be another's.
    const bool removed = removeName(path.c_str());
    const bool unlocked = lockWhole(fd.get(), F_ULOCK) == 0;
    const bool closed = closeFile(fd.release());
    return removed && unlocked && closed ? SUCCESS : UNLOCK_FAILED;
}

int Filelock::writeProcessId(const std::string& data) const {
    TraceScope scope("Filelock::writeProcessId");
    std::string text = std::to_string(getpid());
    if (!data.empty())
        text += " " + data;
    const bool written = fd && cutFile(fd.get(), 0) && writeWholeAt(fd.get(), text, 0);
    return written ? SUCCESS : WRITE_FAILED;
}

bool Filelock::isLocked() const {
    TraceScope scope("Filelock::isLocked");
    UniqueFd own;
    const int file = openForReading(fd, path, own);
    const bool locked = file >= 0 && lockWhole(file, F_TEST) != 0;
    if (locked)
        trTrace(naMin, "File %s is locked\n", path.c_str());
    else
        trTrace(naMin, "File %s is not locked, \n", path.c_str());
    return locked;
}

std::int32_t Filelock::readProcessId(std::string& data) const {
    TraceScope scope("Filelock::readProcessId");
    UniqueFd own;
    std::array<char, 256> content{};
    const ssize_t length =
        readWholeAt(openForReading(fd, path, own), content.data(), content.size(), 0);
    const std::string text(content.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    const std::size_t blank = text.find(' ');
    data = blank == std::string::npos ? "" : text.substr(blank + 1);
    const auto processId = static_cast<std::int32_t>(std::strtol(text.c_str(), nullptr, 10));
    trTrace(naMin, "Read Process Id: %d , data: %s\n", processId, data.c_str());
    return processId;
}
