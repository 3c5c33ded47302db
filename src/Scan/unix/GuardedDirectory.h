#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "Scan/unix/GuardedNames.h"

/// A directory as a helper thread reads it for one walker: the work of one guarded call opens
/// it, reads names, and reads the attributes of a batch of them.
///
///     auto directory = std::make_shared<GuardedDirectory>(nullptr, path);
///     guardedCall(directory, limit, error);     // opens it, with the first batch
///     ... directory->entry(i) for i below directory->entryCount() ...
///     directory->startBatch();                  // and so on, until nothingLeft()
///
/// A trip to the helper thread and back costs as much as dozens of calls, so a batch takes
/// one.
class GuardedDirectory : public GuardedNames {
public:
    /// An entry whose attributes were asked for.
    struct Entry {
        const char* name = nullptr;  // not owned; in the object
        int error = 0;               // errno value; 0 if the attributes were read
        EntryStat stat;
    };

    using GuardedNames::GuardedNames;

    int run(StatContext& context) override;
    [[nodiscard]] std::string place() const override;

    // What follows is for the caller's thread, while no call runs.

    [[nodiscard]] std::size_t entryCount() const { return count; }
    [[nodiscard]] const Entry& entry(std::size_t index) const { return entries[index]; }

    /// Forgets the entries of the batch, to make room for the next.
    void startBatch();

    /// A suspended directory again, to be opened as `path` in `child`; without a child by its
    /// path alone.
    [[nodiscard]] std::shared_ptr<GuardedDirectory> reopened(SharedFd child,
                                                             const std::string& path) const;

    /// What is left of a suspended directory that was not found again.
    void giveUp(int error);

    /// What is left to do after a call that failed with `error`: all that is known, with the
    /// step that failed marked as done.
    [[nodiscard]] std::shared_ptr<GuardedDirectory> restAfter(int error) const;

private:
    void copyEntries(const GuardedDirectory& other);

    static constexpr std::size_t kBatch = 256;  // entries; more do not save time any more

    [[nodiscard]] bool readEntry(StatContext& context);  // as the steps of the names

    std::size_t count = 0;  // valid entries; changed as what the names publish
    std::array<Entry, kBatch> entries;
};
