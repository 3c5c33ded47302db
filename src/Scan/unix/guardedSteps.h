#pragma once

#include <cstdint>
#include <string>
#include <sys/stat.h>

#include "Scan/unix/EntryStat.h"

/// What the works of helper threads have in common that read directories, see GuardedWork.

/// Nanoseconds after which a trip to the helper thread begins no further step, so that the
/// caller is never long without news.
inline constexpr std::int64_t kTripTime = 10'000'000;

/// The path behind a descriptor, which the kernel knows without asking the file system.
[[nodiscard]] std::string pathOf(int fd);

/// For a system call.
template <class Pointer>
long argument(Pointer* pointer) {
    return reinterpret_cast<long>(pointer);
}

/// What the system writes attributes to, in the work: a thread may hang in the call.
union StatusRecord {
    struct statx extended;
    struct stat plain;  // where the kernel does not know the other one
};

/// The attributes of an entry, or of the directory itself for "", by way of `record` into
/// `result`: 0 or an errno value. Helper thread, which can be cancelled in it.
[[nodiscard]] int readStatus(int directory, const char* name, StatusRecord& record,
                             EntryStat& result);
