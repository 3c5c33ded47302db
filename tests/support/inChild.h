#pragma once

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "Common/unix/pssignal.h"

/// Runs `body`, which returns an int, in a process of its own and returns its exit code.
template <class Body>
int inChild(const Body& body) {
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    int status = 0;
    waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

/// The same in a job that is told to stop a moment after it began.
template <class Body>
int inStoppedChild(const Body& body) {
    return inChild([&body]() -> int {
        setSignalHandlers();
        if (fork() == 0) {
            usleep(300000);
            kill(getppid(), SIGTERM);
            _exit(0);
        }
        return body();
    });
}

/// The id of a process that has ended.
inline pid_t deadProcess() {
    const pid_t child = fork();
    return child == 0 ? (_exit(0), 0) : waitpid(child, nullptr, 0);
}
