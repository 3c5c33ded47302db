#include "Scan/unix/GuardedStream.h"

#include <cerrno>
#include <utility>

#include "common/ut/TraceScope.h"

int GuardedStream::openRoot(const std::string& path, std::chrono::nanoseconds limit,
                            std::unique_ptr<DirectoryStream>& root) {
    TraceScope scope("GuardedStream::openRoot");
    return openGuarded(std::make_shared<GuardedDirectory>(nullptr, path), limit, root);
}

int GuardedStream::open(const char* name, const WalkPlace& place,
                        std::unique_ptr<DirectoryStream>& child) {
    TraceScope scope("GuardedStream::open");
    return openGuarded(std::make_shared<GuardedDirectory>(directory->descriptor(), name, place),
                       limit, child);
}

int GuardedStream::openGuarded(std::shared_ptr<GuardedDirectory> directory,
                               std::chrono::nanoseconds limit,
                               std::unique_ptr<DirectoryStream>& stream) {
    TraceScope scope("GuardedStream::openGuarded");
    const int rc = openInTime(directory, limit);
    if (rc != 0)
        return rc;
    directory->forgetParent();
    stream.reset(new GuardedStream(std::move(directory), limit));
    return 0;
}

void GuardedStream::resume(const DirectoryStream& child, const std::string& path) {
    TraceScope scope("GuardedStream::resume");
    const auto* const below = dynamic_cast<const GuardedStream*>(&child);
    int rc = ENOENT;
    if (below && below->descriptor() >= 0)
        rc = reopen(below->directory->descriptor(), "..");
    if (rc != 0)
        rc = reopen(nullptr, path);
    if (rc == 0)
        return;
    directory->giveUp(rc);
    taken = 0;
}

/// Opens what must be the same directory: 0 or an errno value.
int GuardedStream::reopen(GuardedNames::SharedFd child, const std::string& path) {
    TraceScope scope("GuardedStream::reopen");
    std::shared_ptr<GuardedDirectory> again = directory->reopened(std::move(child), path);
    const int rc = openInTime(again, limit);
    if (rc != 0)
        return rc;
    again->forgetParent();
    directory = std::move(again);
    return 0;
}

int GuardedStream::next(const char*& name) {
    TraceScope scope("GuardedStream::next");
    name = nullptr;
    while (taken == directory->entryCount()) {
        if (directory->nothingLeft())
            return directory->namesFailure();
        directory->startBatch();
        taken = 0;
        static_cast<void>(advance(directory, limit));  // a failure is in what is left
    }
    name = directory->entry(taken++).name;
    return 0;
}

int GuardedStream::attributes(const char* name, EntryStat& result) {
    TraceScope scope("GuardedStream::attributes");
    if (*name == '\0') {
        result = directory->ownAttributes();
        return 0;
    }
    if (taken == 0 || directory->entry(taken - 1).name != name)
        return EINVAL;
    const GuardedDirectory::Entry& entry = directory->entry(taken - 1);
    result = entry.stat;
    return entry.error;
}
