#include "common/unx/systemCalls.h"

#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// Calls `move(done)`, which moves what follows the first `done` bytes, until `size` bytes
/// are moved or it moves none: the bytes moved, or -1.
template <class Move>
ssize_t moveWhole(std::size_t size, const Move& move) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t moved = uninterrupted([&] { return move(done); });
        if (moved < 0)
            return -1;
        if (moved == 0)
            break;
        done += static_cast<std::size_t>(moved);
    }
    return static_cast<ssize_t>(done);
}

/// True if all was written; a file that takes nothing and reports no reason is full.
bool isWhole(ssize_t written, std::size_t size) {
    if (written >= 0 && static_cast<std::size_t>(written) < size)
        errno = ENOSPC;
    return written == static_cast<ssize_t>(size);
}

}  // namespace

int openFile(const char* path, int flags, mode_t mode) {
    return uninterrupted([&] { return open(path, flags, mode); });
}

ssize_t readSome(int fd, void* buffer, std::size_t size) {
    return uninterrupted([&] { return read(fd, buffer, size); });
}

ssize_t readWhole(int fd, void* buffer, std::size_t size) {
    return moveWhole(size, [&](std::size_t done) {
        return read(fd, static_cast<char*>(buffer) + done, size - done);
    });
}

ssize_t readWholeAt(int fd, void* buffer, std::size_t size, std::uint64_t offset) {
    return moveWhole(size, [&](std::size_t done) {
        return pread(fd, static_cast<char*>(buffer) + done, size - done,
                     static_cast<off_t>(offset + done));
    });
}

bool writeWhole(int fd, std::string_view text) {
    const ssize_t written = moveWhole(text.size(), [&](std::size_t done) {
        return write(fd, text.data() + done, text.size() - done);
    });
    return isWhole(written, text.size());
}

bool writeWholeAt(int fd, std::string_view text, std::uint64_t offset) {
    const ssize_t written = moveWhole(text.size(), [&](std::size_t done) {
        return pwrite(fd, text.data() + done, text.size() - done,
                      static_cast<off_t>(offset + done));
    });
    return isWhole(written, text.size());
}

bool cutFile(int fd, std::uint64_t size) {
    return uninterrupted([&] { return ftruncate(fd, static_cast<off_t>(size)); }) == 0;
}

bool removeName(const char* path) {
    return uninterrupted([&] { return unlink(path); }) == 0;
}

bool closeFile(int fd) {
    // Linux has given the descriptor up by then; another thread may own its number.
    return close(fd) == 0 || errno == EINTR;
}

void pauseFor(std::chrono::milliseconds time) {
    constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
    struct timespec end {};
    clock_gettime(CLOCK_MONOTONIC, &end);
    const std::int64_t nanoseconds =
        end.tv_nsec + std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
    end.tv_sec += nanoseconds / nanosecondsPerSecond;
    end.tv_nsec = nanoseconds % nanosecondsPerSecond;
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}
