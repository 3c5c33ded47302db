#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <sys/stat.h>
#include <sys/statfs.h>

#include "common/unx/HungFilesystems.h"
#include "common/unx/StatContext.h"

/// File system calls that can hang on a dead file server, with a time-out.
///
/// The call is made by a helper thread, and the caller waits for its tap (see statTap.h). If
/// that does not come in time the thread is abandoned, for nothing can stop a call that hangs
/// in the kernel, and the answer is ESTALE. The next call gets a new thread; there are never
/// many, see HungFilesystems. Any thread may ask; who finds kMostGuardedCalls being made waits
/// until one of them has ended.

/// Calls at once, less by each that hangs.
inline constexpr unsigned kMostGuardedCalls = HungFilesystems::kMostAbandoned;

/// The operations of kelNFSsyscalls().
enum VirtStatOperation {
    VIRTSTAT_STATFS = 0,
    VIRTSTAT_STATVFS = 1,
    VIRTSTAT_STAT = 2,
    VIRTSTAT_LSTAT = 3
};

/// Makes the call `op` for `path` into `buffer`, which must hold a struct statfs
/// (operation 0) or a struct stat (operations 2 and 3). `flag` is carried along unused.
///
/// Returns the call's result, or -1; `errCode` is 0 or an errno value, ESTALE after a
/// time-out. Any other `op`, VIRTSTAT_STATVFS too, fails with EINVAL. With a time-out of 0 or
/// less the call is made on the caller's thread and takes as long as it takes.
[[nodiscard]] int kelNFSsyscalls(const char* path, int flag, void* buffer, int op,
                                 int timeoutSeconds, int& errCode);

/// Has `work` done by the helper thread: 0; else -1 or the code of what failed, with an errno
/// value in `errCode`, which is ESTALE after a time-out. Each step of the work may take as long
/// as `limit`, which is above 0. The outcome of the calls is in the work.
[[nodiscard]] int guardedCall(const std::shared_ptr<GuardedWork>& work,
                              std::chrono::nanoseconds limit, int& errCode);

/// Ends the helper threads, at the end of a process. There are no guarded calls afterwards.
void virtStatCleanUp();

/// A request and its answer.
struct StatRecord {
    int op = 0;
    int flag = 0;
    int errCode = 0;
    int rc = -1;
    const char* path = nullptr;  // not owned
    union {
        struct statfs ofFilesystem;
        struct stat ofFile;
    } buffer{};
};

/// As syscall(2).
using SystemCall = long (*)(long number, long first, long second, long third, long fourth,
                            long fifth);

/// Makes the record's call through `call` and stores `rc` and `errCode`. Either thread.
void doStat(StatRecord& record, SystemCall call);
