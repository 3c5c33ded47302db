#include "common/unx/virtstat.h"

#include <cerrno>
#include <sys/stat.h>
#include <sys/statfs.h>

#include "common/ut/TraceScope.h"

int kelNFSsyscalls(const char* path, int /*flag*/, void* buffer, int op, int /*timeoutSeconds*/,
                   int& errCode) {
    FoundationScope scope("kelNFSsyscalls");
    int rc = -1;
    switch (op) {
        case VIRTSTAT_STATFS:
            rc = statfs(path, static_cast<struct statfs*>(buffer));
            break;
        case VIRTSTAT_STAT:
            rc = stat(path, static_cast<struct stat*>(buffer));
            break;
        case VIRTSTAT_LSTAT:
            rc = lstat(path, static_cast<struct stat*>(buffer));
            break;
        default:
            errno = EINVAL;
            break;
    }
    errCode = rc == 0 ? 0 : errno;
    return rc;
}
