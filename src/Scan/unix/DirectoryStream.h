#pragma once

#include <memory>

#include "Scan/unix/EntryStat.h"

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

    /// Opens the directory `name` in this one, never through a symbolic link. ESTALE if it
    /// is no longer the object `expected`.
    [[nodiscard]] virtual int open(const char* name, const EntryIdentity& expected,
                                   std::unique_ptr<DirectoryStream>& child) = 0;

    /// False where the device number of a file says nothing about the file system it is
    /// on, so that only mounts tell (overlay file systems). Asked of a walk's root.
    [[nodiscard]] virtual bool deviceTells() = 0;
};
