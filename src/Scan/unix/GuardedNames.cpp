#include "Scan/unix/GuardedNames.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <linux/magic.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

#include "Scan/unix/guardedSteps.h"
#include "Scan/unix/systemEntry.h"
#include "common/unx/statTap.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::size_t kLeastRoom = 4096;  // bytes for which names are read

}  // namespace

GuardedNames::GuardedNames(SharedFd parentFd, std::string text, const WalkPlace& where)
    : parent(std::move(parentFd)),
      directoryName(std::move(text)),
      walkPlace(where),
      fd(std::make_shared<UniqueFd>()) {}

std::string GuardedNames::place() const {
    TraceScope scope("GuardedNames::place");
    if (*fd)
        return pathOf(fd->get());
    return parent ? pathOf(parent->get()) + "/" + directoryName : directoryName;
}

const char* GuardedNames::take() {
    std::size_t length = 0;
    const char* const taken = nextName(length);
    position += length;
    return taken;
}

void GuardedNames::startBatch() {
    TraceScope scope("GuardedNames::startBatch");
    if (position == filled)
        position = filled = 0;
}

std::shared_ptr<GuardedNames> GuardedNames::restAfter(int error) const {
    TraceScope scope("GuardedNames::restAfter");
    auto rest = std::make_shared<GuardedNames>(parent, directoryName, walkPlace);
    rest->continueFrom(*this);
    rest->endNames(error);
    return rest;
}

void GuardedNames::continueFrom(const GuardedNames& failed) {
    TraceScope scope("GuardedNames::continueFrom");
    fd = failed.fd;
    opened = failed.opened;
    tells = failed.tells;
    mustBe = failed.mustBe;
    resumeAt = failed.resumeAt;
    isFound = failed.isFound;
    atEnd = failed.atEnd;
    namesError = failed.namesError;
    self = failed.self;
    position = failed.position;
    filled = failed.filled;
    std::copy_n(failed.buffer.begin(), filled, buffer.begin());
}

bool GuardedNames::suspend() {
    TraceScope scope("GuardedNames::suspend");
    if (atEnd && namesError != 0)
        return false;
    // A position that was not gone to yet is still the one to go to.
    if (isFound)
        resumeAt = NamePosition::behind(&buffer[0], filled);
    isFound = false;
    mustBe = self.identity;
    fd = std::make_shared<UniqueFd>();
    return true;
}

void GuardedNames::resumeFrom(const GuardedNames& suspended) {
    TraceScope scope("GuardedNames::resumeFrom");
    continueFrom(suspended);
    fd = std::make_shared<UniqueFd>();
    opened = false;
}

void GuardedNames::endNames(int error) {
    TraceScope scope("GuardedNames::endNames");
    namesError = error;
    atEnd = true;
}

// From here on the code of the helper thread, which can be cancelled in a system call: no
// scope objects.

int GuardedNames::run(StatContext& context) {
    const std::int64_t end = monotonicNanoseconds() + kTripTime;
    if (!openIfClosed(context))
        return openError;
    while (!atEnd && hasRoomForNames() && readNames(context) && monotonicNanoseconds() < end) {
    }
    return namesError;
}

bool GuardedNames::openIfClosed(StatContext& context) {
    return opened || (open(context) && opened);
}

bool GuardedNames::hasRoomForNames() const {
    return buffer.size() - filled >= kLeastRoom;
}

bool GuardedNames::open(StatContext& context) {
    const long place = parent ? parent->get() : AT_FDCWD;
    const int flags = kDirectoryFlags | (parent ? O_NOFOLLOW : 0);
    const long path = argument(directoryName.c_str());
    // Meant: not to be cancelled, for the descriptor would be lost.
    const auto openNow = [&](int more) {
        return uninterrupted([&] { return syscall(SYS_openat, place, path, more, 0, 0); });
    };
    long number = openNow(flags | O_NOATIME);
    if (number < 0 && errno == EPERM)
        number = openNow(flags);
    const int error = number < 0 ? errno : 0;
    const bool wanted = context.publish(monotonicNanoseconds(), [&] {
        openError = error;
        fd->reset(static_cast<int>(number));
    });
    if (!wanted && number >= 0)
        close(static_cast<int>(number));
    return wanted && (error != 0 || identify(context));
}

bool GuardedNames::identify(StatContext& context) {
    EntryStat found;
    int error = readStatus(fd->get(), "", status, found);
    if (error == 0)
        error = judge(found);
    const bool isRoot = !parent && mustBe.inode == 0;
    bool onOverlay = false;
    if (isRoot && context.publish(monotonicNanoseconds(), [] {}))
        onOverlay =
            StatContext::cancellable(SYS_fstatfs, fd->get(), argument(&space), 0, 0, 0) == 0 &&
            space.f_type == OVERLAYFS_SUPER_MAGIC;
    return context.publish(monotonicNanoseconds(), [&] {
        openError = error;
        opened = error == 0;
        self = found;
        tells = tells && !onOverlay;
    });
}

/// ESTALE if what was opened is not what was to be opened.
int GuardedNames::judge(const EntryStat& found) const {
    if (mustBe.inode != 0)
        return found.identity.sameAs(mustBe) ? 0 : ESTALE;
    return !parent || walkPlace.holds(found.identity, true) ? 0 : ESTALE;
}

/// Goes to where the names ended before the directory was suspended.
bool GuardedNames::findNames(StatContext& context) {
    std::size_t begin = 0;
    std::size_t bytes = 0;
    bool wanted = true;
    const auto seek = [this](std::int64_t offset) {
        return StatContext::cancellable(SYS_lseek, fd->get(), offset, SEEK_SET, 0, 0);
    };
    const auto read = [&]() -> long {
        wanted = context.publish(monotonicNanoseconds(), [] {});
        if (!wanted)
            return 0;
        return StatContext::cancellable(SYS_getdents64, fd->get(),
                                        argument(&buffer[0] + filled),
                                        static_cast<long>(buffer.size() - filled), 0, 0);
    };
    const int error = findPosition(resumeAt, &buffer[0] + filled, seek, read, begin, bytes);
    return wanted && context.publish(monotonicNanoseconds(), [&] {
        isFound = true;
        namesError = error;
        atEnd = error != 0;
        position = filled + begin;
        filled += bytes;
    });
}

bool GuardedNames::readNames(StatContext& context) {
    if (!isFound)
        return findNames(context);
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

const char* GuardedNames::nextName(std::size_t& length) const {
    if (position == filled)
        return nullptr;
    const auto* const record = reinterpret_cast<const dirent64*>(&buffer[position]);
    length = record->d_reclen;
    return record->d_name;
}
