#include "Scan/unix/GuardedDirectory.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Scan/unix/guardedSteps.h"
#include "Scan/unix/systemEntry.h"
#include "common/unx/statTap.h"
#include "common/ut/TraceScope.h"

namespace {

bool isDots(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

}  // namespace

std::string GuardedDirectory::place() const {
    TraceScope scope("GuardedDirectory::place");
    // An entry can be where another file system is mounted, and that one is then asked.
    std::size_t length = 0;
    const char* const next = nextName(length);
    return next ? GuardedNames::place() + "/" + next : GuardedNames::place();
}

void GuardedDirectory::startBatch() {
    TraceScope scope("GuardedDirectory::startBatch");
    count = 0;
    GuardedNames::startBatch();
}

void GuardedDirectory::copyEntries(const GuardedDirectory& other) {
    TraceScope scope("GuardedDirectory::copyEntries");
    count = other.count;
    std::copy_n(other.entries.begin(), count, entries.begin());
    for (std::size_t i = 0; i < count; ++i)
        entries[i].name = &buffer[0] + (other.entries[i].name - &other.buffer[0]);
}

std::shared_ptr<GuardedDirectory> GuardedDirectory::reopened(SharedFd child,
                                                             const std::string& path) const {
    TraceScope scope("GuardedDirectory::reopened");
    auto again = std::make_shared<GuardedDirectory>(std::move(child), path, walkPlace);
    again->resumeFrom(*this);
    again->copyEntries(*this);
    return again;
}

void GuardedDirectory::giveUp(int error) {
    TraceScope scope("GuardedDirectory::giveUp");
    endNames(error);
    count = position = filled = 0;
}

std::shared_ptr<GuardedDirectory> GuardedDirectory::restAfter(int error) const {
    TraceScope scope("GuardedDirectory::restAfter");
    auto rest = std::make_shared<GuardedDirectory>(parent, directoryName, walkPlace);
    rest->continueFrom(*this);
    rest->copyEntries(*this);
    std::size_t length = 0;
    if (const char* const failed = rest->nextName(length)) {
        rest->entries[rest->count] = {failed, error, {}};
        rest->position += length;
        rest->count += 1;
    } else {
        rest->endNames(error);
    }
    return rest;
}

// From here on the code of the helper thread, which can be cancelled in a system call: no
// scope objects.

int GuardedDirectory::run(StatContext& context) {
    const std::int64_t end = monotonicNanoseconds() + kTripTime;
    if (!openIfClosed(context))
        return openError;
    bool wanted = true;
    do {
        std::size_t length = 0;
        const bool hasName = nextName(length) != nullptr;
        if (hasName && count < kBatch)
            wanted = readEntry(context);
        else if (!hasName && !atEnd && hasRoomForNames())
            wanted = readNames(context);
        else
            break;
    } while (wanted && monotonicNanoseconds() < end);
    return namesError;
}

bool GuardedDirectory::readEntry(StatContext& context) {
    std::size_t length = 0;
    Entry& next = entries[count];
    next.name = nextName(length);
    // Nobody asks for the attributes of dots.
    next.error =
        isDots(next.name) ? EINVAL : readStatus(fd->get(), next.name, status, next.stat);
    return context.publish(monotonicNanoseconds(), [&] {
        position += length;
        count += 1;
    });
}
