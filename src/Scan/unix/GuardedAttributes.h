#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "Scan/unix/DirectoryStream.h"
#include "Scan/unix/guardedSteps.h"
#include "common/unx/StatContext.h"
#include "common/unx/UniqueFd.h"

/// The attributes of some entries of a directory, as a helper thread reads them in one trip.
/// A trip ends early when the file system is slow, so a call gives the first entries only, and
/// the others are for another one. After a time-out the helper thread still owns the object,
/// see GuardedWork.
class GuardedAttributes : public GuardedWork {
public:
    /// Copies the names.
    GuardedAttributes(std::shared_ptr<const UniqueFd> directory,
                      std::span<const EntryQuery> queries);

    int run(StatContext& context) override;
    [[nodiscard]] const char* name() const override { return names.c_str(); }
    [[nodiscard]] std::string place() const override;

    /// Answers the queries as far as the calls have returned, and tells how many those are.
    /// Caller's thread, while no call runs.
    [[nodiscard]] std::size_t answer(std::span<const EntryQuery> queries) const;

private:
    struct Entry {
        std::size_t name;  // offset in the names
        int error;
        EntryStat stat;
    };

    const std::shared_ptr<const UniqueFd> fd;
    std::string names;  // each with a closing zero byte
    std::vector<Entry> entries;
    std::size_t count = 0;  // entries that are answered; changed by StatContext::publish()
    StatusRecord status;    // written by the system
};
