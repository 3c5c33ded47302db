#include "Scan/unix/guardedSteps.h"

#include <array>
#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

#include "Scan/unix/systemEntry.h"
#include "common/unx/StatContext.h"
#include "common/ut/TraceScope.h"

std::string pathOf(int fd) {
    TraceScope scope("pathOf");
    std::array<char, 4097> text{};
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t length = readlink(link.c_str(), text.data(), text.size() - 1);
    return length > 0 ? std::string(text.data(), static_cast<std::size_t>(length)) : "";
}

// No scope object: this runs on the cancellable thread.
int readStatus(int directory, const char* name, StatusRecord& record, EntryStat& result) {
    const int flags = attributeFlags(name);
    long rc = StatContext::cancellable(SYS_statx, directory, argument(name), flags,
                                       kAttributeMask, argument(&record.extended));
    if (rc == 0) {
        result = entryStatOf(record.extended);
        return 0;
    }
    if (errno != ENOSYS)
        return errno;
    // The C library does the same for calls that nobody guards.
    rc = StatContext::cancellable(SYS_newfstatat, directory, argument(name),
                                  argument(&record.plain), flags, 0);
    if (rc != 0)
        return errno;
    result = entryStatOf(record.plain);
    return 0;
}
