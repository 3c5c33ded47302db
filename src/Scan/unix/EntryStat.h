#pragma once

#include <cstdint>

/// Which object an entry is, and where it lies.
struct EntryIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t mountId = 0;  // 0 where the kernel does not tell

    /// The same object, reached through the same mount.
    [[nodiscard]] bool sameAs(const EntryIdentity& other) const {
        return device == other.device && inode == other.inode && mountId == other.mountId;
    }
};

/// The attributes of an entry as the system gives them, of a symbolic link those of the
/// link itself.
struct EntryStat {
    EntryIdentity identity;
    std::uint32_t mode = 0;  // type and permissions; see stat(2)
    std::uint32_t linkCount = 0;
    std::uint32_t userId = 0;
    std::uint32_t groupId = 0;
    std::int64_t size = 0;      // bytes
    std::int64_t blocks = 0;    // of 512 bytes
    std::int64_t accessed = 0;  // seconds since the epoch, like the next
    std::int64_t modified = 0;

    [[nodiscard]] bool isDirectory() const { return (mode & 0170000U) == 0040000U; }
};

/// Where a walk takes place: the file system of its root.
struct WalkPlace {
    EntryIdentity identity;   // of the root
    bool deviceTells = true;  // see DirectoryStream::deviceTells()

    /// True if an object lies on that file system, and not on one mounted below it. The
    /// device counts with its low 32 bits; where it says nothing of files it still does of
    /// directories, which are of the overlay itself.
    [[nodiscard]] bool holds(const EntryIdentity& object, bool isDirectory) const {
        const bool mountTells = identity.mountId != 0 && object.mountId != 0;
        if (mountTells && object.mountId != identity.mountId)
            return false;
        return (!deviceTells && !isDirectory) ||
               static_cast<std::uint32_t>(object.device) ==
                   static_cast<std::uint32_t>(identity.device);
    }
};
