#include "Scan/unix/GuardedDirectory.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <linux/magic.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

#include "Scan/unix/systemEntry.h"
#include "common/unx/statTap.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::int64_t kTripTime = 10'000'000;  // nanoseconds after which no step is begun
constexpr std::size_t kLeastRoom = 4096;        // bytes for which names are read

bool isDots(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

/// The path behind a descriptor, which the kernel knows without asking the file system.
std::string pathOf(int fd) {
    std::array<char, 4097> text{};
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t length = readlink(link.c_str(), text.data(), text.size() - 1);
    return length > 0 ? std::string(text.data(), static_cast<std::size_t>(length)) : "";
}

template <class Pointer>
long argument(Pointer* pointer) {
    return reinterpret_cast<long>(pointer);
}

}  // namespace

GuardedDirectory::GuardedDirectory(SharedFd parentFd, std::string text,
                                   const EntryIdentity& identity)
    : parent(std::move(parentFd)),
      directoryName(std::move(text)),
      expected(identity),
      fd(std::make_shared<UniqueFd>()) {}

std::string GuardedDirectory::place() const {
    TraceScope scope("GuardedDirectory::place");
    if (!*fd)
        return parent ? pathOf(parent->get()) + "/" + directoryName : directoryName;
    // An entry can be where another file system is mounted, and that one is then asked.
    std::size_t length = 0;
    const char* const next = nextName(length);
    return next ? pathOf(fd->get()) + "/" + next : pathOf(fd->get());
}

void GuardedDirectory::startBatch() {
    TraceScope scope("GuardedDirectory::startBatch");
    count = 0;
    if (position == filled)
        position = filled = 0;
}

std::shared_ptr<GuardedDirectory> GuardedDirectory::restAfter(int error) const {
    TraceScope scope("GuardedDirectory::restAfter");
    auto rest = std::make_shared<GuardedDirectory>(parent, directoryName, expected);
    rest->fd = fd;
    rest->opened = opened;
    rest->tells = tells;
    rest->atEnd = atEnd;
    rest->namesError = namesError;
    rest->self = self;
    rest->position = position;
    rest->filled = filled;
    rest->count = count;
    std::copy_n(buffer.begin(), filled, rest->buffer.begin());
    std::copy_n(entries.begin(), count, rest->entries.begin());
    for (std::size_t i = 0; i < count; ++i)
        rest->entries[i].name = &rest->buffer[0] + (entries[i].name - &buffer[0]);

    std::size_t length = 0;
    if (const char* const failed = rest->nextName(length)) {
        rest->entries[rest->count] = {failed, error, {}};
        rest->position += length;
        rest->count += 1;
    } else {
        rest->namesError = error;
        rest->atEnd = true;
    }
    return rest;
}

// From here on the code of the helper thread, which can be cancelled in a system call: no
// scope objects.

int GuardedDirectory::run(StatContext& context) {
    const std::int64_t end = monotonicNanoseconds() + kTripTime;
    if (!opened && (!open(context) || !opened))
        return openError;
    bool wanted = true;
    do {
        std::size_t length = 0;
        const bool hasName = nextName(length) != nullptr;
        if (hasName && count < kBatch)
            wanted = readEntry(context);
        else if (!hasName && !atEnd && buffer.size() - filled >= kLeastRoom)
            wanted = readNames(context);
        else
            break;
    } while (wanted && monotonicNanoseconds() < end);
    return namesError;
}

bool GuardedDirectory::open(StatContext& context) {
    const long place = parent ? parent->get() : AT_FDCWD;
    const int flags = kDirectoryFlags | (parent ? O_NOFOLLOW : 0);
    const long path = argument(directoryName.c_str());
    // Meant: not to be cancelled, for the descriptor would be lost.
    long number = syscall(SYS_openat, place, path, flags | O_NOATIME, 0, 0);
    if (number < 0 && errno == EPERM)
        number = syscall(SYS_openat, place, path, flags, 0, 0);
    const int error = number < 0 ? errno : 0;
    const bool wanted = context.publish(monotonicNanoseconds(), [&] {
        openError = error;
        fd->reset(static_cast<int>(number));
    });
    if (!wanted && number >= 0)
        close(static_cast<int>(number));
    return wanted && (error != 0 || identify(context));
}

bool GuardedDirectory::identify(StatContext& context) {
    int error = 0;
    if (StatContext::cancellable(SYS_statx, fd->get(), argument(""), attributeFlags(""),
                                 kAttributeMask, argument(&status)) != 0)
        error = errno;
    const EntryStat found = error == 0 ? entryStatOf(status) : EntryStat();
    if (error == 0 && parent && !found.identity.sameObject(expected))
        error = ESTALE;
    bool onOverlay = false;
    if (!parent && context.publish(monotonicNanoseconds(), [] {}))
        onOverlay =
            StatContext::cancellable(SYS_fstatfs, fd->get(), argument(&space), 0, 0, 0) == 0 &&
            space.f_type == OVERLAYFS_SUPER_MAGIC;
    return context.publish(monotonicNanoseconds(), [&] {
        openError = error;
        opened = error == 0;
        self = found;
        tells = !onOverlay;
    });
}

bool GuardedDirectory::readNames(StatContext& context) {
    const long bytes =
        StatContext::cancellable(SYS_getdents64, fd->get(), argument(&buffer[0] + filled),
                                 static_cast<long>(buffer.size() - filled), 0, 0);
    const int error = bytes < 0 ? errno : 0;
    return context.publish(monotonicNanoseconds(), [&] {
        namesError = error;
        atEnd = bytes <= 0;
        filled += bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
    });
}

bool GuardedDirectory::readEntry(StatContext& context) {
    std::size_t length = 0;
    Entry& next = entries[count];
    next.name = nextName(length);
    next.error = 0;
    if (isDots(next.name))
        next.error = EINVAL;  // nobody asks for them
    else if (StatContext::cancellable(SYS_statx, fd->get(), argument(next.name),
                                      attributeFlags(next.name), kAttributeMask,
                                      argument(&status)) != 0)
        next.error = errno;
    else
        next.stat = entryStatOf(status);
    return context.publish(monotonicNanoseconds(), [&] {
        position += length;
        count += 1;
    });
}

const char* GuardedDirectory::nextName(std::size_t& length) const {
    if (position == filled)
        return nullptr;
    const auto* const record = reinterpret_cast<const dirent64*>(&buffer[position]);
    length = record->d_reclen;
    return record->d_name;
}
