#pragma once

#include <unistd.h>
#include <utility>

/// An open file descriptor, closed when the object goes; -1 holds none.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int descriptor) noexcept : fd(descriptor) {}
    UniqueFd(UniqueFd&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other)
            reset(std::exchange(other.fd, -1));
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    [[nodiscard]] int get() const noexcept { return fd; }
    explicit operator bool() const noexcept { return fd >= 0; }

    /// Gives the descriptor up without closing it.
    [[nodiscard]] int release() noexcept { return std::exchange(fd, -1); }

    void reset(int descriptor = -1) noexcept {
        if (fd >= 0)
            close(fd);
        fd = descriptor;
    }

private:
    int fd = -1;
};
