#include "common/unx/processStart.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

void prepareProcess() {
    constexpr rlim_t leastDescriptors = 256;
    constexpr mode_t leastMask = S_IWGRP | S_IWOTH;
    umask(umask(leastMask) | leastMask);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // The lowest free descriptor is taken, which is this one.
        if (fcntl(descriptor, F_GETFD) < 0)
            static_cast<void>(open("/dev/null", O_RDWR));
    }
    struct rlimit limit {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < leastDescriptors) {
        limit.rlim_cur = std::min(leastDescriptors, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}
