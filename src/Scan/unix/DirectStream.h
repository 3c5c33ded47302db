#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "Scan/unix/DirectoryStream.h"
#include "Scan/unix/NamePosition.h"
#include "common/unx/UniqueFd.h"

/// Reads a directory with plain system calls on the caller's thread: they take as long as
/// the file system takes.
class DirectStream : public DirectoryStream {
public:
    /// Opens the root of a walk; `path` may be a symbolic link to it.
    [[nodiscard]] static int openRoot(const std::string& path,
                                      std::unique_ptr<DirectoryStream>& root);

    /// The attributes of a root that could not be opened.
    [[nodiscard]] static int rootAttributes(const std::string& path, EntryStat& result);

    [[nodiscard]] int next(const char*& name) override;
    [[nodiscard]] int attributes(const char* name, EntryStat& result) override;
    [[nodiscard]] int open(const char* name, const WalkPlace& place,
                           std::unique_ptr<DirectoryStream>& child) override;
    [[nodiscard]] bool suspend() override;
    void resume(const DirectoryStream& child, const std::string& path) override;
    [[nodiscard]] int descriptor() const override { return fd.get(); }
    [[nodiscard]] bool deviceTells() override;

private:
    explicit DirectStream(UniqueFd directory) noexcept : fd(std::move(directory)) {}

    // Large enough that most directories take one call, small enough for 200 levels.
    static constexpr std::size_t kBufferSize = 32768;

    struct Buffer {
        alignas(8) std::array<char, kBufferSize> records;  // of getdents64
    };

    /// What a suspended directory is to be found again by.
    struct Suspended {
        EntryIdentity identity;
        NamePosition end;  // of the names in the buffer
    };

    [[nodiscard]] int fill();
    [[nodiscard]] int goBack();
    [[nodiscard]] int reopen(int parent, const char* path);

    UniqueFd fd;
    std::size_t position = 0;              // of the next record in the buffer
    std::size_t filled = 0;                // bytes in the buffer
    std::unique_ptr<Buffer> buffer;        // from the first name to the last
    int failure = 0;                       // what next() answers for ever
    std::unique_ptr<Suspended> suspended;  // from suspend() until the next names are read
};
