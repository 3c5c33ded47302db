#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// A directory below /tmp that goes with the object, and verbs to fill it. Paths are
/// relative to it. A step that fails ends the test with an exception.
class TempTree {
public:
    TempTree();
    ~TempTree();
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    [[nodiscard]] const std::string& root() const { return directory; }
    [[nodiscard]] std::string path(const std::string& name) const;

    void mkdirp(const std::string& name) const;
    void touch(const std::string& name, std::size_t bytes = 0) const;
    void write(const std::string& name, const std::string& content) const;
    void symlink(const std::string& target, const std::string& name) const;
    void link(const std::string& target, const std::string& name) const;
    void mkfifo(const std::string& name) const;
    void chmod(const std::string& name, unsigned mode) const;
    void chown(const std::string& name, unsigned user, unsigned group) const;
    /// Seconds since the epoch.
    void times(const std::string& name, std::int64_t accessed, std::int64_t modified) const;

    [[nodiscard]] std::string read(const std::string& name) const;
    [[nodiscard]] bool exists(const std::string& name) const;

private:
    std::string directory;
};

/// A file system mounted for a test, unmounted with the object. Needs root.
class TestMount {
public:
    /// True if this process may mount; tests that cannot skip with this as reason.
    [[nodiscard]] static bool possible();

    /// Mounts an empty tmpfs on the directory.
    static TestMount tmpfs(const std::string& directory);
    /// Makes an ext4 file system in the file `image` and mounts it by a loop device. The
    /// image is sparse. Reading changes no access time.
    static TestMount ext4(const std::string& image, const std::string& directory,
                          const std::string& size = "16M", const std::string& options = {});
    /// Shows `source` once more at `directory`.
    static TestMount bind(const std::string& source, const std::string& directory);

    TestMount(TestMount&& other) noexcept;
    TestMount& operator=(TestMount&&) = delete;
    TestMount(const TestMount&) = delete;
    TestMount& operator=(const TestMount&) = delete;
    ~TestMount();

private:
    explicit TestMount(std::string directory);

    std::string directory;  // empty once moved from
};

#define SKIP_UNLESS_ROOT_CAN_MOUNT()                             \
    do {                                                         \
        if (!TestMount::possible())                              \
            GTEST_SKIP() << "needs root and the right to mount"; \
    } while (false)
