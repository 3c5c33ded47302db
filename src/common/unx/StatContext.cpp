#include "common/unx/StatContext.h"

#include <cerrno>
#include <execinfo.h>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "common/unx/statTap.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"

namespace {

// Bytes. File system calls need little of it; the modules that look up owners are not ours.
constexpr std::size_t kStackSize = 1048576;
constexpr long kSignalLength = 1;  // bytes of a tap

/// A descriptor of a pipe that does not block. A failure is traced and the work goes on.
void prepareDescriptor(int fd) {
    trTrace(naMid, "CreateStatFsThread: opened fd = %d\n", fd);
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0)
        trTrace(naMin, "CreateStatFsThread: unable to get the flags, errno(%d)\n", errno);
    else if (fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0)
        trTrace(naMin, "CreateStatFsThread: unable to set the flags (%d), errno(%d)\n",
                flags | O_NONBLOCK, errno);
    const long pipeBuf = fpathconf(fd, _PC_PIPE_BUF);
    if (pipeBuf != -1 && pipeBuf <= kSignalLength)
        trTrace(naMin,
                "CreateStatFsThread: pipeBuf (%ld) < signalLength (%ld).  It may lead to "
                "unpredictable behaviour!\n",
                pipeBuf, kSignalLength);
}

int shortId(psThreadId thread) {
    return static_cast<int>(thread);
}

/// True once the C library has loaded what it unwinds threads with. It would do so at the first
/// pthread_cancel(), and end the process if memory is short by then.
bool canCancelThreads() {
    void* frame = nullptr;
    return backtrace(&frame, 1) > 0;
}

}  // namespace

StatContext::Share StatContext::create() {
    FoundationScope scope("StatContext::create");
    Share context(new (std::nothrow) StatContext);
    if (context)
        context->mutex.reset(pkCreateMutex());
    if (!context || !context->mutex) {
        errno = ENOMEM;
        return nullptr;
    }
    if (!context->openPipes()) {
        trError("CreateStatFsThread: unable to open communication, errno(%d)\n", errno);
        return nullptr;
    }
    return context->startThread() ? std::move(context) : nullptr;
}

bool StatContext::openPipes() {
    FoundationScope scope("StatContext::openPipes");
    for (const std::size_t first : {0U, 2U}) {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            return false;
        pipes[first].reset(ends[0]);
        pipes[first + 1].reset(ends[1]);
    }
    for (const UniqueFd& fd : pipes)
        prepareDescriptor(fd.get());
    return true;
}

bool StatContext::startThread() {
    FoundationScope scope("StatContext::startThread");
    psThreadRecord record;
    record.start = StatFsThread;
    record.argument = this;
    record.name = "StatFsThread";
    record.stackSize = kStackSize;
    shares = 2;
    const int rc = canCancelThreads() ? psThreadCreate(record) : ENOMEM;
    if (rc != 0) {
        shares = 1;
        trError(
            "CreateStatFsThread: unable to start a stat-thread, rc(%d) errno(%d). Please, "
            "try not to use NFSTIMEOUT option.\n",
            rc, rc);
        errno = rc;
        return false;
    }
    thread = record.thread;
    trTrace(naMin,
            "CreateStatFsThread: a new stat-thread (%d) has been created successfully!\n",
            shortId(thread));
    return true;
}

void StatContext::release() {
    if (--shares == 0)
        delete this;
}

void StatContext::setWork(std::shared_ptr<GuardedWork> next) {
    work = std::move(next);
    beginStep(monotonicNanoseconds());  // the thread waits for its tap, so no lock is needed
}

void StatContext::moveTo(int number) {
    if (number == processor)
        return;
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(number, &set);
    static_cast<void>(pthread_setaffinity_np(thread, sizeof set, &set));
    processor = number;
}

StatContext::Step StatContext::step() const {
    const pkMutexHolder lock(mutex.get());
    return current;
}

void StatContext::abandon() {
    FoundationScope scope("StatContext::abandon");
    const pkMutexHolder lock(mutex.get());
    abandonLocked();
}

bool StatContext::abandonIn(Step& seen) {
    FoundationScope scope("StatContext::abandonIn");
    const pkMutexHolder lock(mutex.get());
    if (current.number != seen.number) {
        seen = current;
        return false;
    }
    abandonLocked();
    return true;
}

void StatContext::abandonLocked() {
    trTrace(naMid, "cleanUp: entry point.\n");
    abandoned = true;
    // A thread that has not ended cannot do so now, for that takes the lock: its id is good.
    if (!ended) {
        trTrace(naMin, "cleanUp: is canceling (%d) stat-thread...\n", shortId(thread));
        const int rc = pthread_cancel(thread);
        if (rc != 0)
            trError("cleanUp: failed to cancel (%d) stat-thread, rc(%d).\n", shortId(thread),
                    rc);
        else
            trTrace(naMin, "cleanUp: canceled (%d) stat-thread.\n", shortId(thread));
    }
    for (UniqueFd& pipeEnd : pipes) {
        const int fd = pipeEnd.release();
        if (fd < 0)
            continue;
        if (close(fd) == 0)
            trTrace(naMid, "cleanUp: close(%d) succeeded.\n", fd);
        else
            trError("cleanUp: close(%d) failed, errno(%d)\n", fd, errno);
    }
}

bool StatContext::hasEnded() const {
    const pkMutexHolder lock(mutex.get());
    return ended;
}

// From here on the code of the helper thread: no scope objects. It is cancelled in a system
// call of its work or while it waits for a tap, and nowhere else.

bool StatContext::holdPipes() {
    if (pkAcquireMutex(mutex.get()) != 0)
        return false;
    if (!abandoned)
        return true;
    releasePipes();
    return false;
}

void StatContext::releasePipes() {
    static_cast<void>(pkReleaseMutex(mutex.get()));
}

// Meant: no object, no call in between, and no instrumentation, for the thread can be unwound
// from any instruction here.
[[gnu::noinline, gnu::no_sanitize_thread, gnu::no_profile_instrument_function]] long
StatContext::cancellableOnce(long number, long first, long second, long third, long fourth,
                             long fifth) {
    int ignored = 0;
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, &ignored);
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &ignored);
    const long rc = syscall(number, first, second, third, fourth, fifth);
    const int error = errno;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored);
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &ignored);
    errno = error;
    return rc;
}

long StatContext::cancellable(long number, long first, long second, long third, long fourth,
                              long fifth) {
    return uninterrupted(
        [=] { return cancellableOnce(number, first, second, third, fourth, fifth); });
}

void* StatContext::StatFsThread(void* argument) {
    int before = 0;
    const int stateRc = pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
    trTrace(naMid, "StatFsThread: pthread_setcancelstate() returned %d\n", stateRc);
    const int typeRc = pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &before);
    trTrace(naMid, "StatFsThread: pthread_setcanceltype() returned %d\n", typeRc);
    pthread_cleanup_push(leave, argument);
    static_cast<StatContext*>(argument)->serve();
    pthread_cleanup_pop(1);
    return nullptr;
}

void StatContext::leave(void* argument) {
    auto* const context = static_cast<StatContext*>(argument);
    static_cast<void>(pkAcquireMutex(context->mutex.get()));
    context->ended = true;
    context->releasePipes();
    context->release();
}

void StatContext::serve() {
    for (;;) {
        // A descriptor is read under the lock, so it is the thread's own or -1.
        if (!holdPipes())
            return;
        const int requestRead = pipes[0].get();
        const int replyWrite = pipes[3].get();
        releasePipes();
        if (tryOnTap(requestRead, RECEIVING, std::chrono::nanoseconds(0), this) != 0) {
            trTrace(naMin, "StatFsThread: tryOnTap() for RECEIVE failed.\n");
            return;
        }
        trTrace(naMid, "StatFsThread: just got a tap for (%s)\n", work->name());
        const int error = work->run(*this);
        if (!publish(monotonicNanoseconds(), [] {}))
            return;
        trTrace(naMid, "StatFsThread: ready to send a tap back for (%s), rc(%d), errno(%d)\n",
                work->name(), error == 0 ? 0 : -1, error);
        if (tryOnTap(replyWrite, SENDING, std::chrono::nanoseconds(0), this) != 0) {
            trTrace(naMin, "StatFsThread: tryOnTap() for SEND failed.\n");
            return;
        }
    }
}
