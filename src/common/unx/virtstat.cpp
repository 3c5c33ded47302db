#include "common/unx/virtstat.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

#include "common/unx/HungFilesystems.h"
#include "common/unx/statTap.h"
#include "common/ut/TraceScope.h"

static_assert(sizeof(long) == 8, "the system calls made here give 64-bit records");

namespace {

/// What the calls of a process share; guarded by pStatMutex.
struct State {
    pkMutexOwner pStatMutex;
    bool mutexState = false;     // pStatMutex exists
    StatContext::Share context;  // of the present helper thread; null if there is none
    HungFilesystems hung;
};

/// Never destroyed: a call may come back after the static objects have gone.
State& state() {
    static State& instance = *new State;
    return instance;
}

const char* operationName(int op) {
    static constexpr const char* kNames[] = {"statfs", "statvfs", "stat", "lstat"};
    return op >= VIRTSTAT_STATFS && op <= VIRTSTAT_LSTAT ? kNames[op] : "unknown";
}

void globals_cleanup_routine() {
    FoundationScope scope("globals_cleanup_routine");
    state().pStatMutex.reset();
    state().mutexState = false;
}

void init_pStatMutex() {
    FoundationScope scope("init_pStatMutex");
    state().pStatMutex.reset(pkCreateMutex());
    state().mutexState = state().pStatMutex != nullptr;
    if (!state().mutexState) {
        trError("init_pStatMutex: pkCreateMutex() failed!\n");
        globals_cleanup_routine();
    }
}

/// A failure without a code of its own counts as a bad argument.
int codeOf(int error) {
    return error != 0 ? error : EINVAL;
}

/// Gives up the helper thread, if there is one. It is not joined: it may hang as long as the
/// mount does.
StatContext::Share cleanUp() {
    FoundationScope scope("cleanUp");
    trTrace(naMid, "cleanUp: entry point.\n");
    StatContext::Share context = std::move(state().context);
    if (context)
        context->abandon();
    return context;
}

/// Makes a helper thread if there is none: 0 or -1 with errno.
int CreateStatFsThread() {
    FoundationScope scope("CreateStatFsThread");
    if (!state().context)
        state().context = StatContext::create();
    return state().context ? 0 : -1;
}

/// Hands the work over and waits until it is back: 0, VS_TIMEOUT or -1 with errno.
int exchangeTaps(StatContext& context, std::chrono::nanoseconds limit) {
    FoundationScope scope("exchangeTaps");
    std::int64_t began = context.stepBegan();
    int rc = tryOnTap(context.requestWrite(), SENDING, limit);
    if (rc == 0)
        rc = tryOnTap(context.replyRead(), RECEIVING, limit);
    // Work of several steps that gets on: each of them has its whole time.
    while (rc == VS_TIMEOUT && context.stepBegan() != began) {
        began = context.stepBegan();
        const std::int64_t left = began + limit.count() - monotonicNanoseconds();
        if (left > 0)
            rc = tryOnTap(context.replyRead(), RECEIVING, std::chrono::nanoseconds(left));
    }
    return rc;
}

/// The part of a guarded call that holds the mutex.
int callLocked(const std::shared_ptr<GuardedWork>& work, std::chrono::nanoseconds limit,
               int& errCode) {
    FoundationScope scope("callLocked");
    HungFilesystems& hung = state().hung;
    const HungFilesystems::Verdict verdict = hung.judge(*work, monotonicNanoseconds());
    if (verdict == HungFilesystems::Verdict::Refuse) {
        errCode = ESTALE;
        return VS_TIMEOUT;
    }
    int rc = CreateStatFsThread();
    if (rc != 0) {
        errCode = codeOf(errno);
        trError("kelNFSsyscalls: CreateStatFsThread() failed: rc(%d), errno(%d)\n", rc,
                errCode);
        static_cast<void>(cleanUp());
        return rc;
    }
    state().context->setWork(work);
    rc = exchangeTaps(*state().context, limit);
    if (rc == 0) {
        state().context->setWork(nullptr);
        if (verdict == HungFilesystems::Verdict::Probe)
            hung.answered();
        return 0;
    }
    errCode = rc == VS_TIMEOUT ? ESTALE : codeOf(errno);
    if (rc != VS_TIMEOUT)
        trError("kelNFSsyscalls: tryOnTap() failed, rc(%d), errno(%d)\n", rc, errCode);
    hung.add(cleanUp(), *work, monotonicNanoseconds(), limit);
    return rc;
}

/// A request of the public call.
class PathCall : public GuardedWork {
public:
    PathCall(const char* path, int flag, int op) : ownPath(path) {
        record.op = op;
        record.flag = flag;
        record.path = ownPath.c_str();
    }

    int run(StatContext& /*context*/) override {
        doStat(record, StatContext::cancellable);
        return record.errCode;
    }
    [[nodiscard]] const char* name() const override { return ownPath.c_str(); }

    StatRecord record;

private:
    const std::string ownPath;  // outlives the caller's, as long as the thread hangs
};

/// Gives the record's answer to the caller.
int answer(const StatRecord& record, void* buffer, int& errCode) {
    FoundationScope scope("answer");
    errCode = record.errCode;
    if (record.rc == 0)
        std::memcpy(buffer, &record.buffer,
                    record.op == VIRTSTAT_STATFS ? sizeof(struct statfs) : sizeof(struct stat));
    trTrace(naMin, "kelNFSsyscalls: returns(%d), errCode(%d).\n", record.rc, errCode);
    return record.rc;
}

long plainCall(long number, long first, long second, long third, long fourth, long fifth) {
    return syscall(number, first, second, third, fourth, fifth);
}

}  // namespace

// No scope object: this runs on the cancellable thread too.
void doStat(StatRecord& record, SystemCall call) {
    const long path = reinterpret_cast<long>(record.path);
    const long buffer = reinterpret_cast<long>(&record.buffer);
    long rc = -1;
    switch (record.op) {
        case VIRTSTAT_STATFS:
            rc = call(SYS_statfs, path, buffer, 0, 0, 0);
            break;
        case VIRTSTAT_STAT:
            rc = call(SYS_newfstatat, AT_FDCWD, path, buffer, 0, 0);
            break;
        case VIRTSTAT_LSTAT:
            rc = call(SYS_newfstatat, AT_FDCWD, path, buffer, AT_SYMLINK_NOFOLLOW, 0);
            break;
        default:
            errno = EINVAL;
            break;
    }
    record.rc = static_cast<int>(rc);
    record.errCode = rc == 0 ? 0 : errno;
}

int guardedCall(const std::shared_ptr<GuardedWork>& work, std::chrono::nanoseconds limit,
                int& errCode) {
    FoundationScope scope("guardedCall");
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    errCode = 0;
    pthread_once(&once, init_pStatMutex);
    if (!state().mutexState) {
        errCode = EINVAL;
        trError("kelNFSsyscalls: internal data structures were not initialized properly.\n");
        trError(
            "Please, restart Corvane Client process. If it doesn't help, try not to use "
            "NFSTIMEOUT option.\n");
        return -1;
    }
    pkMutexHolder lock(state().pStatMutex.get());
    if (!lock.held()) {
        errCode = codeOf(errno);
        trError("kelNFSsyscalls: pkReleaseMutex() failed! rc(%d), errno(%d)\n", -1, errCode);
        return -1;
    }
    const int rc = callLocked(work, limit, errCode);
    const int released = lock.release();
    if (released != 0) {
        errCode = codeOf(errno);
        trError("kelNFSsyscalls: pkReleaseMutex() failed! rc(%d), errno(%d)\n", released,
                errCode);
        return -1;
    }
    if (rc == VS_TIMEOUT)
        trError("kelNFSsyscalls: stale mount point for (%s)\n", work->name());
    return rc == 0 ? 0 : -1;
}

int kelNFSsyscalls(const char* path, int flag, void* buffer, int op, int timeoutSeconds,
                   int& errCode) {
    FoundationScope scope("kelNFSsyscalls");
    errCode = 0;
    trTrace(naMid, "kelNFSsyscall %s for path %s\n", operationName(op), path);
    if (timeoutSeconds <= 0) {
        StatRecord record;
        record.op = op;
        record.flag = flag;
        record.path = path;
        doStat(record, plainCall);
        return answer(record, buffer, errCode);
    }
    const auto call = std::make_shared<PathCall>(path, flag, op);
    const int rc = guardedCall(call, std::chrono::seconds(timeoutSeconds), errCode);
    return rc == 0 ? answer(call->record, buffer, errCode) : rc;
}

void virtStatCleanUp() {
    FoundationScope scope("virtStatCleanUp");
    trTrace(naMin, "virtStatCleanUp: entry point.\n");
    static_cast<void>(cleanUp());
    if (state().mutexState)
        globals_cleanup_routine();
}
