#pragma once

/// File system calls that can hang on a dead file server, behind one entry.

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
/// Returns the call's result, or -1; `errCode` is 0 or an errno value. Any other `op`,
/// VIRTSTAT_STATVFS too, fails with EINVAL. The call is made directly on the caller's
/// thread, whatever `timeoutSeconds` says: it can hang as long as the file server does.
[[nodiscard]] int kelNFSsyscalls(const char* path, int flag, void* buffer, int op,
                                 int timeoutSeconds, int& errCode);
