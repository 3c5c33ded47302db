#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "Scan/unix/DirectoryStream.h"
#include "Scan/unix/GuardedDirectory.h"

/// Reads a directory by guarded calls, so that a dead file server costs a time-out for each
/// call that hangs, and never more. A directory that is not opened in time is not open, names
/// that are not read in time end it, and an entry without attributes in time has none; the code
/// is ESTALE each time.
///
/// Attributes are read up to a batch ahead of the walk. Those of the entry that next() gave
/// last can be had, and those of the directory itself as of its opening.
class GuardedStream : public DirectoryStream {
public:
    /// Opens the root of a walk; `path` may be a symbolic link to it. `limit` holds for each
    /// call below the root too.
    [[nodiscard]] static int openRoot(const std::string& path, std::chrono::nanoseconds limit,
                                      std::unique_ptr<DirectoryStream>& root);

    [[nodiscard]] int next(const char*& name) override;
    [[nodiscard]] int attributes(const char* name, EntryStat& result) override;
    [[nodiscard]] int open(const char* name, const WalkPlace& place,
                           std::unique_ptr<DirectoryStream>& child) override;
    [[nodiscard]] bool suspend() override { return directory->suspend(); }
    void resume(const DirectoryStream& child, const std::string& path) override;
    [[nodiscard]] int descriptor() const override { return directory->descriptor()->get(); }
    [[nodiscard]] bool deviceTells() override { return directory->deviceTells(); }

private:
    GuardedStream(std::shared_ptr<GuardedDirectory> opened,
                  std::chrono::nanoseconds timeout) noexcept
        : directory(std::move(opened)), limit(timeout) {}

    [[nodiscard]] static int openGuarded(std::shared_ptr<GuardedDirectory> directory,
                                         std::chrono::nanoseconds limit,
                                         std::unique_ptr<DirectoryStream>& stream);

    [[nodiscard]] int reopen(GuardedNames::SharedFd child, const std::string& path);

    std::shared_ptr<GuardedDirectory> directory;  // shared with a helper thread that hangs
    const std::chrono::nanoseconds limit;
    std::size_t taken = 0;  // entries of the batch that next() gave
};
