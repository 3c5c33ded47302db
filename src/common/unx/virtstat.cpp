#include "common/unx/virtstat.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "common/unx/statTap.h"
#include "common/ut/TraceScope.h"

static_assert(sizeof(long) == 8, "the system calls made here give 64-bit records");

namespace {

/// What the calls of a process share; guarded by pStatMutex.
struct State {
    State() { idle.reserve(kMostGuardedCalls); }

    pkMutexOwner pStatMutex;               // made once, and never destroyed
    std::atomic<bool> mutexState{false};   // pStatMutex exists, and there may be calls
    std::vector<StatContext::Share> idle;  // threads that wait for work; the last one is next
    HungFilesystems hung;
    std::condition_variable_any callEnded;  // for those who wait for a place
};

constinit std::atomic<bool> stateIsMade{false};

/// Never destroyed: a call may come back after the static objects have gone.
State& state() {
    static State& instance = *new State;
    stateIsMade = true;
    return instance;
}

const char* operationName(int op) {
    static constexpr const char* kNames[] = {"statfs", "statvfs", "stat", "lstat"};
    return op >= VIRTSTAT_STATFS && op <= VIRTSTAT_LSTAT ? kNames[op] : "unknown";
}

void globals_cleanup_routine() {
    FoundationScope scope("globals_cleanup_routine");
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

/// Makes pStatMutex once: true if it exists.
bool hasMutex(int& errCode) {
    FoundationScope scope("hasMutex");
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    errCode = 0;
    const State& shared = state();
    pthread_once(&once, init_pStatMutex);
    if (shared.mutexState)
        return true;
    errCode = EINVAL;
    trError("kelNFSsyscalls: internal data structures were not initialized properly.\n");
    trError(
        "Please, restart Corvane Client process. If it doesn't help, try not to use "
        "NFSTIMEOUT option.\n");
    return false;
}

/// A failure without a code of its own counts as a bad argument.
int codeOf(int error) {
    return error != 0 ? error : EINVAL;
}

/// Takes a helper thread that is idle, or makes one: 0 or -1 with errno.
int CreateStatFsThread(StatContext::Share& context) {
    FoundationScope scope("CreateStatFsThread");
    std::vector<StatContext::Share>& idle = state().idle;
    if (idle.empty()) {
        context = StatContext::create();
        return context ? 0 : -1;
    }
    context = std::move(idle.back());
    idle.pop_back();
    return 0;
}

/// pStatMutex for those who wait.
struct StatMutex {
    static void lock() { static_cast<void>(pkAcquireMutex(state().pStatMutex.get())); }
    static void unlock() { static_cast<void>(pkReleaseMutex(state().pStatMutex.get())); }
};

/// Does `part` while it holds pStatMutex; false with errCode if that fails.
template <class Part>
bool holdingMutex(int& errCode, const Part& part) {
    pkMutexHolder lock(state().pStatMutex.get());
    int rc = -1;
    if (lock.held()) {
        part();
        rc = lock.release();
    }
    if (rc == 0)
        return true;
    errCode = codeOf(errno);
    trError("kelNFSsyscalls: pkReleaseMutex() failed! rc(%d), errno(%d)\n", rc, errCode);
    return false;
}

/// Keeps caller and helper thread on one processor while it lives. One of them always waits for
/// the other, and to wake up another processor each time takes longer than the calls: a walk
/// with a time-out took 2.2 times as long as one without, and takes 1.2 times with this.
class OneProcessor {
public:
    explicit OneProcessor(StatContext& context) noexcept {
        const int current = sched_getcpu();
        if (current < 0 || current >= CPU_SETSIZE ||
            sched_getaffinity(0, sizeof before, &before) != 0)
            return;
        cpu_set_t set;
        CPU_ZERO(&set);
        CPU_SET(current, &set);
        isHeld = sched_setaffinity(0, sizeof set, &set) == 0;
        if (isHeld)
            context.moveTo(current);
    }
    ~OneProcessor() {
        if (isHeld)
            static_cast<void>(sched_setaffinity(0, sizeof before, &before));
    }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

private:
    cpu_set_t before;  // where the caller may run
    bool isHeld = false;
};

/// Hands the work over and waits until it is back: 0 or -1 with errno; or VS_TIMEOUT, and the
/// thread is given up. It is not joined: it may hang as long as the mount does.
int exchangeTaps(StatContext& context, std::chrono::nanoseconds limit) {
    FoundationScope scope("exchangeTaps");
    const OneProcessor processor(context);
    StatContext::Step step = context.step();
    int rc = tryOnTap(context.requestWrite(), SENDING, limit);
    if (rc == 0)
        rc = tryOnTap(context.replyRead(), RECEIVING, limit);
    // Work of several steps that gets on: each of them has its whole time. The thread is given
    // up only in a step that has had it, so the one that follows is never blamed.
    while (rc == VS_TIMEOUT && !context.abandonIn(step)) {
        const std::int64_t left = step.began + limit.count() - monotonicNanoseconds();
        rc = tryOnTap(context.replyRead(), RECEIVING,
                      std::chrono::nanoseconds(std::max<std::int64_t>(left, 1)));
    }
    return rc;
}

/// Waits for a place among the calls and for a thread: 0; VS_TIMEOUT if the call is refused, or
/// -1, with errCode. Gives pStatMutex up meanwhile.
int beginCall(HungFilesystems::Call& call, StatContext::Share& context, int& errCode) {
    FoundationScope scope("beginCall");
    HungFilesystems& hung = state().hung;
    StatMutex mutex;
    for (;; state().callEnded.wait(mutex)) {
        if (!state().mutexState) {
            errCode = EINVAL;
            return -1;
        }
        const HungFilesystems::Verdict verdict = hung.judge(call, monotonicNanoseconds());
        if (verdict == HungFilesystems::Verdict::Wait)
            continue;
        if (verdict == HungFilesystems::Verdict::Refuse) {
            state().callEnded.notify_all();
            errCode = ESTALE;
            return VS_TIMEOUT;
        }
        const int rc = CreateStatFsThread(context);
        if (rc == 0)
            return 0;
        errCode = codeOf(errno);
        hung.giveUp(call);
        if (!hung.someAreMade()) {
            trError("kelNFSsyscalls: CreateStatFsThread() failed: rc(%d), errno(%d)\n", rc,
                    errCode);
            return rc;
        }
        // The thread of one of those will do.
    }
}

/// Makes a call that has its place: 0; else VS_TIMEOUT or -1, with errCode.
int makeCall(StatContext& context, const std::shared_ptr<GuardedWork>& work,
             std::chrono::nanoseconds limit, int& errCode) {
    FoundationScope scope("makeCall");
    context.setWork(work);
    const int rc = exchangeTaps(context, limit);
    if (rc == 0) {
        context.setWork(nullptr);
        return 0;
    }
    errCode = rc == VS_TIMEOUT ? ESTALE : codeOf(errno);
    if (rc != VS_TIMEOUT) {
        trError("kelNFSsyscalls: tryOnTap() failed, rc(%d), errno(%d)\n", rc, errCode);
        context.abandon();
    }
    return rc;
}

/// Keeps a thread for the calls to come. Gives back one that is too many to be idle, or null.
StatContext::Share keepIdle(StatContext::Share context) {
    FoundationScope scope("keepIdle");
    std::vector<StatContext::Share>& idle = state().idle;
    const bool isTooMany =
        !idle.empty() && idle.size() + state().hung.threadCount() >= kMostGuardedCalls;
    if (isTooMany || !state().mutexState)
        return context;
    idle.push_back(std::move(context));
    return nullptr;
}

/// Where a call hangs; empty without the memory to find out.
HungFilesystems::Place placeOfHung(const GuardedWork& work) {
    FoundationScope scope("placeOfHung");
    try {
        return HungFilesystems::placeOf(work);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

/// Gives back the place of a call that was made with result `rc`, and its thread.
bool endCall(HungFilesystems::Call& call, StatContext::Share context, int rc,
             std::chrono::nanoseconds limit, int& errCode) {
    FoundationScope scope("endCall");
    HungFilesystems& hung = state().hung;
    HungFilesystems::Place place;
    if (rc != 0)
        place = placeOfHung(call.work);
    StatContext::Share surplus;
    const bool held = holdingMutex(errCode, [&] {
        if (rc != 0) {
            hung.add(std::move(context), call, place, monotonicNanoseconds(), limit);
        } else {
            hung.answered(call);
            surplus = keepIdle(std::move(context));
        }
        state().callEnded.notify_all();
    });
    if (surplus)
        surplus->abandon();
    return held;
}

/// Gives a call up that ends by an exception.
class CallHolder {
public:
    explicit CallHolder(HungFilesystems::Call& held) noexcept : call(held) {}
    ~CallHolder() {
        int ignored = 0;
        if (call.isOpen())
            static_cast<void>(holdingMutex(ignored, [this] {
                state().hung.giveUp(call);
                state().callEnded.notify_all();
            }));
    }
    CallHolder(const CallHolder&) = delete;
    CallHolder& operator=(const CallHolder&) = delete;

private:
    HungFilesystems::Call& call;
};

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
    if (!hasMutex(errCode))
        return -1;
    HungFilesystems::Call call(*work);
    const CallHolder holder(call);
    StatContext::Share context;
    int rc = 0;
    if (!holdingMutex(errCode, [&] { rc = beginCall(call, context, errCode); }))
        return -1;
    if (rc == 0) {
        errCode = 0;
        rc = makeCall(*context, work, limit, errCode);
        if (!endCall(call, std::move(context), rc, limit, errCode))
            return -1;
    }
    if (rc == VS_TIMEOUT)
        trError("kelNFSsyscalls: stale mount point for (%s)\n",
                placeOfHung(*work).path.c_str());
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
    if (!stateIsMade || !state().mutexState)
        return;
    int ignored = 0;
    std::vector<StatContext::Share> idle;
    static_cast<void>(holdingMutex(ignored, [&idle] {
        globals_cleanup_routine();
        idle = std::move(state().idle);
        state().callEnded.notify_all();
    }));
    for (const StatContext::Share& context : idle)
        context->abandon();
}
