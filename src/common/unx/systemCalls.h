#pragma once

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <sys/types.h>

/// System calls that a signal can interrupt, or that can move fewer bytes than asked for,
/// each repeated until it is done. They take no memory and leave `errno` as the last call set
/// it. Any thread.

/// Repeats a call that a signal interrupted: `uninterrupted([&] { return flock(fd, how); })`.
///
/// For calls that return -1 on failure. Not for close(), which gives the descriptor up also
/// when it is interrupted, and not for sleeping calls, see pauseFor(). A system that never
/// ends interrupting gets EINTR in the end, so that the caller does not hang.
template <class Call>
[[nodiscard]] auto uninterrupted(const Call& call) {
    constexpr int mostInterrupts = 1'000'000;
    auto result = call();
    for (int i = 0; result == -1 && errno == EINTR && i < mostInterrupts; ++i)
        result = call();
    return result;
}

/// open(): a descriptor, or -1.
[[nodiscard]] int openFile(const char* path, int flags, mode_t mode = 0);

/// One read(): the bytes read, 0 at the end of the file, or -1.
[[nodiscard]] ssize_t readSome(int fd, void* buffer, std::size_t size);

/// Reads until the buffer is full or the file ends: the bytes read, or -1.
[[nodiscard]] ssize_t readWhole(int fd, void* buffer, std::size_t size);

/// The same from a given offset; the position of the file stays.
[[nodiscard]] ssize_t readWholeAt(int fd, void* buffer, std::size_t size, std::uint64_t offset);

/// Writes all of `text`. After a failure a part of it may be written.
[[nodiscard]] bool writeWhole(int fd, std::string_view text);

/// The same to a given offset; the position of the file stays.
[[nodiscard]] bool writeWholeAt(int fd, std::string_view text, std::uint64_t offset);

/// ftruncate(): true if the file has this size now.
[[nodiscard]] bool cutFile(int fd, std::uint64_t size);

/// unlink(): true if the name is gone.
[[nodiscard]] bool removeName(const char* path);

/// close(): false if the file system reports that what was written is lost.
[[nodiscard]] bool closeFile(int fd);

/// Sleeps for this time, however many signals arrive.
void pauseFor(std::chrono::milliseconds time);
