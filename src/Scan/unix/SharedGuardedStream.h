#pragma once

#include <chrono>
#include <memory>
#include <span>
#include <string>

#include "Scan/unix/DirectoryStream.h"
#include "Scan/unix/GuardedNames.h"

/// Reads a directory by guarded calls for several threads at once, which read ahead: attributes
/// are not read with the names, and those of many entries take one guarded call. A call that
/// hangs costs what it does in a GuardedStream.
class SharedGuardedStream : public DirectoryStream {
public:
    /// Opens the root of a walk; `path` may be a symbolic link to it. `limit` holds for each
    /// call below the root too.
    [[nodiscard]] static int openRoot(const std::string& path, std::chrono::nanoseconds limit,
                                      std::unique_ptr<DirectoryStream>& root);

    [[nodiscard]] int next(const char*& name) override;
    [[nodiscard]] int attributes(const char* name, EntryStat& result) override;
    void attributesOf(std::span<const EntryQuery> queries) override;
    [[nodiscard]] int open(const char* name, const WalkPlace& place,
                           std::unique_ptr<DirectoryStream>& child) override;
    [[nodiscard]] bool deviceTells() override { return tells; }

private:
    SharedGuardedStream(std::shared_ptr<GuardedNames> opened, std::chrono::nanoseconds timeout);

    [[nodiscard]] static int openGuarded(std::shared_ptr<GuardedNames> names,
                                         std::chrono::nanoseconds limit,
                                         std::unique_ptr<DirectoryStream>& stream);

    const GuardedNames::SharedFd fd;  // shared with helper threads that hang
    const EntryStat self;
    const bool tells;
    const std::chrono::nanoseconds limit;

    // Of the thread that reads names.
    std::shared_ptr<GuardedNames> names;  // null when all were given
    int namesError = 0;                   // then
};
