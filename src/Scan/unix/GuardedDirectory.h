#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/vfs.h>

#include "Scan/unix/EntryStat.h"
#include "common/unx/StatContext.h"
#include "common/unx/UniqueFd.h"

/// An open directory as a helper thread reads it: the work of one guarded call opens it,
/// reads names, and reads the attributes of a batch of them.
///
///     auto directory = std::make_shared<GuardedDirectory>(nullptr, path);
///     guardedCall(directory, limit, error);     // opens it, with the first batch
///     ... directory->entry(i) for i below directory->entryCount() ...
///     directory->startBatch();                  // and so on, until nothingLeft()
///
/// A trip to the helper thread and back costs as much as dozens of calls, so a batch takes
/// one; a trip ends early when the file system is slow. After a time-out the helper thread
/// still owns the object, see GuardedWork, and the walk goes on with restAfter().
class GuardedDirectory : public GuardedWork {
public:
    /// An entry whose attributes were asked for.
    struct Entry {
        const char* name = nullptr;  // not owned; in the object
        int error = 0;               // errno value; 0 if the attributes were read
        EntryStat stat;
    };

    using SharedFd = std::shared_ptr<const UniqueFd>;

    /// The directory `text` in the directory `parentFd`, which must be the object
    /// `identity`; without a parent a path, the root of a walk.
    GuardedDirectory(SharedFd parentFd, std::string text, const EntryIdentity& identity = {});

    int run(StatContext& context) override;
    [[nodiscard]] const char* name() const override { return directoryName.c_str(); }
    [[nodiscard]] std::string place() const override;

    // What follows is for the scan thread, while no call runs.

    [[nodiscard]] bool isOpen() const { return opened; }

    /// Why it did not open, an errno value; 0 if the helper thread cannot tell.
    [[nodiscard]] int openFailure() const { return openError; }
    [[nodiscard]] SharedFd descriptor() const { return fd; }

    /// The directory's own attributes, as of its opening.
    [[nodiscard]] const EntryStat& ownAttributes() const { return self; }

    /// Of a root: see DirectoryStream::deviceTells().
    [[nodiscard]] bool deviceTells() const { return tells; }

    [[nodiscard]] std::size_t entryCount() const { return count; }
    [[nodiscard]] const Entry& entry(std::size_t index) const { return entries[index]; }

    /// True if no entry is left but those of the batch; namesFailure() tells why.
    [[nodiscard]] bool nothingLeft() const { return atEnd && position == filled; }

    /// Why reading names ended, an errno value; 0 at the end of the directory.
    [[nodiscard]] int namesFailure() const { return namesError; }

    /// Forgets the entries of the batch, to make room for the next.
    void startBatch();

    /// What is left to do after a call that failed with `error`: all that is known, with the
    /// step that failed marked as done.
    [[nodiscard]] std::shared_ptr<GuardedDirectory> restAfter(int error) const;

private:
    // Large enough that most directories take one call, small enough for 200 levels.
    static constexpr std::size_t kBufferSize = 32768;
    static constexpr std::size_t kBatch = 256;  // entries; more do not save time any more

    // Steps of the helper thread; false if nobody waits for them any more.
    [[nodiscard]] bool open(StatContext& context);
    [[nodiscard]] bool identify(StatContext& context);
    [[nodiscard]] bool readNames(StatContext& context);
    [[nodiscard]] bool readEntry(StatContext& context);

    /// The name behind the entries, with the length of its record; null if none is known.
    [[nodiscard]] const char* nextName(std::size_t& length) const;

    const SharedFd parent;  // null for a root
    const std::string directoryName;
    const EntryIdentity expected;
    std::shared_ptr<UniqueFd> fd;  // shared with the directories that are opened in it

    // Changed by StatContext::publish() alone while a call runs.
    bool opened = false;
    bool tells = true;
    bool atEnd = false;  // no further names to be read
    int openError = 0;
    int namesError = 0;
    EntryStat self;
    std::size_t position = 0;  // in the buffer, of the first record that is no entry yet
    std::size_t filled = 0;    // bytes in the buffer
    std::size_t count = 0;     // valid entries

    // Written by the system, and beyond what is published.
    struct statx status;
    struct statfs space;
    std::array<Entry, kBatch> entries;
    alignas(8) std::array<char, kBufferSize> buffer;  // records of getdents64
};
