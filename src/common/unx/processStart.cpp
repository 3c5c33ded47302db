#include "common/unx/processStart.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/unx/systemCalls.h"

void prepareProcess() {
    // What a broken pipe, a file that is too large, a lost terminal or an inherited timer
    // would end before the agent has heard of the job: the call fails instead, if any does.
    for (const int ignored : {SIGPIPE, SIGXFSZ, SIGHUP, SIGALRM})
        signal(ignored, SIG_IGN);
    constexpr rlim_t leastDescriptors = 256;
    constexpr mode_t leastMask = S_IWGRP | S_IWOTH;
    umask(umask(leastMask) | leastMask);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // The lowest free descriptor is taken, which is this one.
        if (fcntl(descriptor, F_GETFD) < 0)
            static_cast<void>(openFile("/dev/null", O_RDWR));
    }
    struct rlimit limit {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < leastDescriptors) {
        limit.rlim_cur = std::min(leastDescriptors, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}
