#include "common/unx/shellProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/ut/TraceScope.h"

namespace {

constexpr char kShell[] = "/bin/sh";
constexpr int kNotStarted = 71;  // exit code of a child that did not become a shell
constexpr int kFirstOwned = STDERR_FILENO + 1;

/// Holds back all signals. One that arrives between fork() and the new program would
/// otherwise run a handler of this process in the child, and be lost to it.
class SignalsBlocked {
public:
    SignalsBlocked() noexcept {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before{};
};

// What follows runs in the child, where another thread may have held any lock of the
// library at the moment of fork(): system calls alone, no memory, no stream, no trace.

void complain(const char* text) {
    static_cast<void>(!write(STDERR_FILENO, text, std::strlen(text)));
}

[[noreturn]] void failStart(int error) {
    if (error == ENOENT)
        complain("File '/bin/sh' not found by execv().\n");
    else if (error == EACCES)
        complain("Unable to access file '/bin/sh'.\n");
    else {
        std::array<char, 16> digits{};
        std::size_t first = digits.size() - 1;
        do {
            digits[--first] = static_cast<char>('0' + error % 10);
            error /= 10;
        } while (error > 0 && first > 0);
        complain("Unexpected error invoking program, errno = ");
        complain(&digits[first]);
        complain(".\n");
    }
    _exit(kNotStarted);
}

void redirect(int descriptor, const char* path, bool append) {
    if (!path)
        return;
    const int fd = open(path, O_RDWR | O_CREAT | (append ? O_APPEND : O_TRUNC), 0600);
    if (fd < 0 || dup2(fd, descriptor) < 0)
        _exit(kNotStarted);
}

void closeInherited() {
    constexpr int mostOnOldKernels = 1024;  // those before 5.9 cannot close a range
    if (close_range(kFirstOwned, ~0U, 0) == 0)
        return;
    for (int descriptor = kFirstOwned; descriptor < mostOnOldKernels; ++descriptor)
        close(descriptor);
}

void resetSignals() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        sigaction(number, &standard, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void becomeShell(const ShellCommand& command, char* const* arguments) {
    if (command.stdoutDescriptor >= 0)
        dup2(command.stdoutDescriptor, STDOUT_FILENO);
    redirect(STDOUT_FILENO, command.stdoutPath, command.append);
    redirect(STDERR_FILENO, command.stderrPath, command.append);
    closeInherited();
    resetSignals();
    if (command.environment)
        execve(kShell, arguments, command.environment);
    else
        execv(kShell, arguments);
    failStart(errno);
}

}  // namespace

pid_t startShell(const ShellCommand& command) {
    FoundationScope scope("startShell");
    const std::array<char*, 4> arguments = {const_cast<char*>(kShell), const_cast<char*>("-c"),
                                            const_cast<char*>(command.text), nullptr};
    std::fflush(stdout);  // what this process has printed stands before the child's output
    const SignalsBlocked blocked;
    const pid_t child = fork();
    if (child == 0)
        becomeShell(command, arguments.data());
    return child;
}

int waitForChild(pid_t child, int& status) {
    FoundationScope scope("waitForChild");
    while (waitpid(child, &status, 0) != child) {
        if (errno != EINTR)
            return -1;
    }
    return 0;
}
