#pragma once

#include <cerrno>
#include <memory>
#include <span>
#include <string>

#include "Scan/unix/EntryStat.h"

/// An entry whose attributes are asked for together with those of others, and where they go.
struct EntryQuery {
    const char* name;   // not owned, as all of it
    EntryStat* result;  // valid if rc is 0
    int* rc;            // 0 or an errno value
};

/// True for what the process or the host lacks: the same question may have an answer when
/// others have given something back.
[[nodiscard]] constexpr bool isShortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM;
}

/// An open directory: the one place where a walk meets the system.
///
/// Everything is relative to the open directory, so that no user can slip another tree
/// under a running walk, and paths have no limit here. Codes are 0 or an errno value.
///
/// Names are read by one thread at a time. Attributes and open() of one directory may be
/// asked for by several threads at once.
class DirectoryStream {
public:
    DirectoryStream() = default;
    virtual ~DirectoryStream() = default;
    DirectoryStream(const DirectoryStream&) = delete;
    DirectoryStream& operator=(const DirectoryStream&) = delete;

    /// The next name, "." and ".." included, or null at the end. The name is valid until
    /// the next call.
    [[nodiscard]] virtual int next(const char*& name) = 0;

    /// The attributes of the entry `name`, never those behind a symbolic link or an
    /// automount; of the directory itself for "".
    [[nodiscard]] virtual int attributes(const char* name, EntryStat& result) = 0;

    /// The attributes of several entries; a file system that is asked elsewhere takes them in
    /// one go.
    virtual void attributesOf(std::span<const EntryQuery> queries) {
        for (const EntryQuery& query : queries)
            *query.rc = attributes(query.name, *query.result);
    }

    /// Opens the directory that has this name in this one by now, never through a symbolic
    /// link. It need not be the object whose attributes were read, for others rename what they
    /// like; ESTALE if it is not on the file system of the walk.
    [[nodiscard]] virtual int open(const char* name, const WalkPlace& place,
                                   std::unique_ptr<DirectoryStream>& child) = 0;

    /// Gives the descriptor up until resume(), so that deeper directories can have it; false if
    /// that cannot be. Until then nothing but resume() is called.
    [[nodiscard]] virtual bool suspend() { return false; }

    /// Opens a suspended directory again, as the parent of `child`, which was opened in it, or
    /// else by its path. If it is not found again, next() fails.
    virtual void resume(const DirectoryStream& /*child*/, const std::string& /*path*/) {}

    /// The number of the descriptor; -1 if there is none, or none that can be given up.
    [[nodiscard]] virtual int descriptor() const { return -1; }

    /// False where the device number of a file says nothing about the file system it is
    /// on, so that only mounts tell (overlay file systems). Asked of a walk's root.
    [[nodiscard]] virtual bool deviceTells() = 0;
};
