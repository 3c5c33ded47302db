#include "common/unx/statTap.h"

#include <cerrno>
#include <ctime>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "common/unx/StatContext.h"
#include "common/unx/systemCalls.h"
#include "common/ut/trace.h"

// This code runs on the cancellable thread too: no scope objects.

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;  // nanoseconds
constexpr int kMostSelect = 1022;                // beyond, select() would not do

/// A wait for a tap and when it ends.
struct Wait {
    bool forever;
    long seconds;      // the limit, rounded up
    std::int64_t end;  // on the monotonic clock, nanoseconds
    timeval start;     // on the wall clock
};

Wait beginWait(std::chrono::nanoseconds limit) {
    Wait wait{};
    wait.forever = limit.count() == 0;
    if (wait.forever)
        return wait;
    wait.seconds = (limit.count() + kSecond - 1) / kSecond;
    wait.end = monotonicNanoseconds() + limit.count();
    gettimeofday(&wait.start, nullptr);
    return wait;
}

/// poll() until the end of the wait; a thread with a context can be cancelled here.
int pollUntil(pollfd& descriptor, const Wait& wait, bool cancellable) {
    timespec left{};
    if (!wait.forever) {
        const std::int64_t now = monotonicNanoseconds();
        const std::int64_t nanoseconds = now < wait.end ? wait.end - now : 0;
        left.tv_sec = nanoseconds / kSecond;
        left.tv_nsec = nanoseconds % kSecond;
    }
    timespec* const limit = wait.forever ? nullptr : &left;
    const long ready = cancellable ? StatContext::cancellableOnce(
                                         SYS_ppoll, reinterpret_cast<long>(&descriptor), 1,
                                         reinterpret_cast<long>(limit), 0, 0)
                                   : ppoll(&descriptor, 1, limit, nullptr);
    if (ready > 0 && (descriptor.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    return static_cast<int>(ready);
}

/// One byte; -1 and EBADF if the pipes of `context` are closed.
ssize_t moveByte(int fd, int opType, StatContext* context) {
    if (context && !context->holdPipes()) {
        errno = EBADF;
        return -1;
    }
    char tap = 0;
    const ssize_t moved = uninterrupted([&] {
        return opType == RECEIVING ? read(fd, &tap, sizeof tap) : write(fd, &tap, sizeof tap);
    });
    if (context)
        context->releasePipes();
    return moved;
}

bool timedOut(const Wait& wait) {
    if (wait.forever || (monotonicNanoseconds() < wait.end &&
                         checkElapsedTime(wait.start, wait.seconds) == VS_CONTINUE))
        return false;
    trTrace(naMid, "tryOnTap: is timed out!\n");
    return true;
}

/// Waits until the descriptor is ready: 0, VS_TIMEOUT or -1.
int awaitReady(int fd, int opType, const Wait& wait, bool cancellable) {
    for (;;) {
        pollfd descriptor = {fd, static_cast<short>(opType == RECEIVING ? POLLIN : POLLOUT), 0};
        trTrace(naMax, "tryOnTap: is starting listening on %d\n", fd);
        const int ready = pollUntil(descriptor, wait, cancellable);
        if (ready > 0)
            return 0;
        if (ready == 0) {
            trTrace(naMid, "tryOnTap: is timed out!\n");
            return VS_TIMEOUT;
        }
        trTrace(naMid, "tryOnTap: has detected error %d on %d\n", errno, fd);
        if (errno != EINTR)
            return -1;
        if (timedOut(wait))
            return VS_TIMEOUT;
        trTrace(naMax, "tryOnTap: EINTR has been detected. Continue listening...\n");
    }
}

}  // namespace

std::int64_t monotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kSecond + now.tv_nsec;
}

int checkElapsedTime(const timeval& start, long seconds) {
    timeval now{};
    gettimeofday(&now, nullptr);
    if (timercmp(&now, &start, <)) {
        trTrace(naMin,
                "checkElapsedTime: incorrect parameters passed(curTime less than "
                "startTime!)\n");
        return VS_TIMEOUT;
    }
    const long spentSec = now.tv_sec - start.tv_sec;
    const long spentUsec = now.tv_usec - start.tv_usec;
    const bool goesOn = spentSec < seconds || (spentSec == seconds && spentUsec < 0);
    trTrace(naMid, "checkElapsedTime: returns %s, spentSec(%ld), spentUsec(%ld)\n",
            goesOn ? "CONTINUE" : "TIMEOUT", spentSec, spentUsec);
    return goesOn ? VS_CONTINUE : VS_TIMEOUT;
}

int tryOnTap(int fd, int opType, std::chrono::nanoseconds limit, StatContext* context) {
    const Wait wait = beginWait(limit);
    const char* const verb = opType == RECEIVING ? "READ" : "WRITE";
    trTrace(naMax, "tryOnTap: for %s on descriptor %d. bWaitForever(%s), sec(%u)\n",
            opType == RECEIVING ? "RECEIVING" : "SENDING", fd, wait.forever ? "TRUE" : "FALSE",
            static_cast<unsigned>(wait.seconds));
    if (fd < 0) {
        trError("tryOnTap: undefined descriptor!\n");
        errno = EBADF;
        return -1;
    }
    if (opType != RECEIVING && opType != SENDING) {
        trError("tryOnTap: undefined opType passed!\n");
        errno = EINVAL;
        return -1;
    }
    if (fd >= kMostSelect)  // poll() has no such bound, so the work goes on
        trTrace(naMid, "tryOnTap: may experience undefined behavior!\n");
    for (;;) {
        const int rc = awaitReady(fd, opType, wait, context != nullptr);
        if (rc != 0)
            return rc;
        trTrace(naMax, "tryOnTap: succeeded! Descriptor %d is ready for %s\n", fd, verb);
        const ssize_t moved = moveByte(fd, opType, context);
        if (moved == 1) {
            trTrace(naMax, "tryOnTap: OK. %s succeeded on (%d).\n", verb, fd);
            return 0;
        }
        const int error = moved == 0 ? EAGAIN : errno;
        trTrace(naMid, "tryOnTap: failed to %s (%d) bytes on fd(%d); rc(%d), errno(%d)\n", verb,
                1, fd, static_cast<int>(moved), error);
        if (error != EAGAIN && error != ETIMEDOUT && error != EINTR) {
            trError("tryOnTap: failed to %s (%d) bytes on fd(%d); rc(%d), errno(%d)\n", verb, 1,
                    fd, static_cast<int>(moved), error);
            errno = error;
            return -1;
        }
        if (timedOut(wait))
            return VS_TIMEOUT;
        trTrace(naMax, "tryOnTap: continue listening...\n");
    }
}
