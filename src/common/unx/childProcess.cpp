#include "common/unx/childProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/thrd/SignalsBlocked.h"
#include "common/unx/UniqueFd.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"

namespace {

using Clock = std::chrono::steady_clock;  // monotonic
using std::chrono::milliseconds;

constexpr int kNotStarted = 71;  // exit code of a child that did not become the program
constexpr int kFirstOwned = STDERR_FILENO + 1;
constexpr milliseconds kShortestPause(1);  // between two looks at a child, doubled each time
constexpr milliseconds kLongestPause(50);
constexpr std::chrono::seconds kKilledLimit(1);  // one stuck in the system is not waited for

// What follows runs in the child, where another thread may have held any lock of the
// library at the moment of fork(): system calls alone, no memory, no stream, no trace.

void complain(const char* text) {
    static_cast<void>(writeWhole(STDERR_FILENO, text));
}

[[noreturn]] void failStart(const char* path, int error) {
    if (error == ENOENT || error == EACCES) {
        complain(error == ENOENT ? "File '" : "Unable to access file '");
        complain(path);
        complain(error == ENOENT ? "' not found by execv().\n" : "'.\n");
    } else {
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

void redirect(int descriptor, const char* path, int flags) {
    const int fd = openFile(path, flags, 0600);
    if (fd < 0 || uninterrupted([&] { return dup2(fd, descriptor); }) < 0)
        _exit(kNotStarted);
}

void redirectAll(const ChildProgram& program) {
    const int flags = O_RDWR | O_CREAT | (program.append ? O_APPEND : O_TRUNC);
    if (program.quiet) {
        redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
        redirect(STDERR_FILENO, "/dev/null", O_WRONLY);
    }
    if (program.stdoutDescriptor >= 0 &&
        uninterrupted([&] { return dup2(program.stdoutDescriptor, STDOUT_FILENO); }) < 0)
        _exit(kNotStarted);
    if (program.stdoutPath)
        redirect(STDOUT_FILENO, program.stdoutPath, flags);
    if (program.stderrPath)
        redirect(STDERR_FILENO, program.stderrPath, flags);
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

/// The child gets a group that can be killed as a whole, and is killed itself if its parent
/// dies, also if that has happened by now.
void leaveGroup(pid_t parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(kNotStarted);
}

[[noreturn]] void becomeProgram(const ChildProgram& program, pid_t parent) {
    if (program.ownGroup)
        leaveGroup(parent);
    redirectAll(program);
    closeInherited();
    resetSignals();
    const char* const path = program.arguments[0];
    auto* const arguments = const_cast<char* const*>(program.arguments);
    if (program.environment)
        execve(path, arguments, program.environment);
    else
        execv(path, arguments);
    failStart(path, errno);
}

// What follows runs in the parent.

/// A wait that goes on until something ends it. It looks again and again, which needs no
/// signal and no descriptor, so that nobody else's signals disturb it.
class Wait {
public:
    explicit Wait(const WaitLimit& waitLimit)
        : limit(waitLimit), end(Clock::now() + limit.time) {}

    /// True if the child has ended or the wait is over for another reason, see result().
    [[nodiscard]] bool over(pid_t child, int& status) {
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child)
            reason = ChildWait::ENDED;
        else if (ended < 0 && errno != EINTR)
            reason = ChildWait::FAILED;
        else if (limit.stop && *limit.stop)
            reason = ChildWait::STOPPED;
        else if (limit.time.count() > 0 && Clock::now() >= end)
            reason = ChildWait::TIMED_OUT;
        else
            return false;
        return true;
    }
    [[nodiscard]] ChildWait result() const { return reason; }

    /// How long to sleep before the next look.
    [[nodiscard]] milliseconds nextPause() {
        const milliseconds now = pause;
        pause = std::min(2 * pause, kLongestPause);
        return now;
    }

private:
    const WaitLimit limit;
    const Clock::time_point end;
    milliseconds pause = kShortestPause;
    ChildWait reason = ChildWait::ENDED;
};

/// The reading end of a child's output.
class OutputPipe {
public:
    explicit OutputPipe(std::size_t mostBytes) : most(mostBytes) { text.reserve(most); }

    /// The end for the child, which is to be closed once it has started; none on failure.
    [[nodiscard]] UniqueFd open() {
        std::array<int, 2> ends{-1, -1};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            return UniqueFd();
        readEnd.reset(ends[0]);
        // What the child does not end, a child of it may hold open: nothing waits for it.
        static_cast<void>(fcntl(readEnd.get(), F_SETFL, O_NONBLOCK));
        return UniqueFd(ends[1]);
    }

    /// Takes what has arrived, and closes the pipe once there is enough or no more.
    void take() {
        std::array<char, 512> piece{};
        while (readEnd) {
            const ssize_t length = readSome(readEnd.get(), piece.data(),
                                            std::min(piece.size(), most - text.size()));
            if (length < 0 && errno == EAGAIN)
                return;
            if (length > 0)
                text.append(piece.data(), static_cast<std::size_t>(length));
            if (length <= 0 || text.size() == most)
                readEnd.reset();
        }
    }

    /// Sleeps until something arrives, not for longer than this.
    void await(milliseconds pause) const {
        if (!readEnd)
            return pauseFor(pause);
        pollfd descriptor = {readEnd.get(), POLLIN, 0};
        static_cast<void>(poll(&descriptor, 1, static_cast<int>(pause.count())));
    }

    std::string text;

private:
    const std::size_t most;
    UniqueFd readEnd;
};

}  // namespace

pid_t startProgram(const ChildProgram& program) {
    FoundationScope scope("startProgram");
    std::fflush(stdout);  // what this process has printed stands before the child's output
    const pid_t parent = getpid();
    // A signal that arrives between fork() and the new program would run a handler of this
    // process in the child, and be lost to it.
    const SignalsBlocked blocked;
    const pid_t child = fork();
    if (child == 0)
        becomeProgram(program, parent);
    if (child > 0 && program.ownGroup)
        setpgid(child, child);  // the child does so too: whoever comes first
    return child;
}

ChildWait waitForChild(pid_t child, int& status, const WaitLimit& limit) {
    FoundationScope scope("waitForChild");
    Wait wait(limit);
    while (!wait.over(child, status))
        pauseFor(wait.nextPause());
    return wait.result();
}

void killChildGroup(pid_t child) {
    FoundationScope scope("killChildGroup");
    kill(-child, SIGKILL);
    int ignored = 0;
    static_cast<void>(waitForChild(child, ignored, {kKilledLimit}));
}

ProgramOutput runProgram(ChildProgram program, const WaitLimit& limit, std::size_t most) {
    FoundationScope scope("runProgram");
    ProgramOutput output;
    OutputPipe pipe(most);
    UniqueFd writeEnd = pipe.open();
    if (!writeEnd)
        return output;
    program.stdoutDescriptor = writeEnd.get();
    program.ownGroup = true;
    const pid_t child = startProgram(program);
    writeEnd.reset();
    if (child < 0)
        return output;

    Wait wait(limit);
    while (!wait.over(child, output.status)) {
        pipe.await(wait.nextPause());
        pipe.take();
    }
    pipe.take();
    output.wait = wait.result();
    if (output.wait == ChildWait::TIMED_OUT || output.wait == ChildWait::STOPPED)
        killChildGroup(child);
    output.text = std::move(pipe.text);
    return output;
}

std::string findProgram(const std::string& name) {
    FoundationScope scope("findProgram");
    const char* const path = std::getenv("PATH");
    const std::string directories = path ? path : "/usr/bin:/bin";
    for (std::size_t start = 0; start < directories.size();) {
        const std::size_t end = std::min(directories.find(':', start), directories.size());
        std::string found = directories.substr(start, end - start) + "/" + name;
        if (directories[start] == '/' && access(found.c_str(), X_OK) == 0)
            return found;
        start = end + 1;
    }
    return {};
}
