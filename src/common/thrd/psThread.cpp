#include "common/thrd/psThread.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <new>
#include <thread>

#include "common/thrd/SignalsBlocked.h"
#include "common/ut/TraceScope.h"
#include "common/ut/traceClasses.h"

namespace {

constexpr int kBadArgument = 109;

unsigned shortId(psThreadId thread) {
    return static_cast<std::uint32_t>(thread);
}

/// The threads of the process besides the first one.
constinit std::atomic<std::size_t> threadCount{0};

/// What a new thread runs; owned by the thread.
struct StartUp {
    void* (*start)(void*);
    void* argument;
    const char* name;
};

/// Counts the thread until it goes, on every way out, cancellation too.
class CountedThread {
public:
    explicit CountedThread(StartUp* record) : thread(record) {}
    ~CountedThread() {
        --threadCount;
        trTrace(trThread, "Thread %d exit called.\n",
                static_cast<int>(shortId(psThreadSelf())));
    }
    CountedThread(const CountedThread&) = delete;
    CountedThread& operator=(const CountedThread&) = delete;

    [[nodiscard]] const StartUp& record() const { return *thread; }

private:
    std::unique_ptr<StartUp> thread;
};

void* runThread(void* argument) {
    const CountedThread counted(static_cast<StartUp*>(argument));
    const StartUp& thread = counted.record();
    trTrace(trThread, "Starting thread %s\n", thread.name);
    return thread.start(thread.argument);
}

/// The attributes of a thread without any: detached, with its own size of stack.
class DefaultAttributes {
public:
    explicit DefaultAttributes(std::size_t stackSize) : rc(pthread_attr_init(&attributes)) {
        if (rc != 0)
            return;
        pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        if (stackSize != 0)
            static_cast<void>(psSetThreadStackSize(&attributes, stackSize));
    }
    ~DefaultAttributes() {
        if (rc == 0)
            pthread_attr_destroy(&attributes);
    }
    DefaultAttributes(const DefaultAttributes&) = delete;
    DefaultAttributes& operator=(const DefaultAttributes&) = delete;

    [[nodiscard]] int error() const { return rc; }
    [[nodiscard]] const pthread_attr_t* get() const { return &attributes; }

private:
    pthread_attr_t attributes{};
    int rc;
};

}  // namespace

int psThreadCreate(psThreadRecord& record) {
    FoundationScope scope("psThreadCreate");
    const DefaultAttributes defaults(record.stackSize);
    if (defaults.error() != 0)
        return defaults.error();
    const pthread_attr_t* const attributes =
        record.attributes ? record.attributes : defaults.get();
    int state = PTHREAD_CREATE_DETACHED;
    pthread_attr_getdetachstate(attributes, &state);
    record.detached = state == PTHREAD_CREATE_DETACHED;

    std::unique_ptr<StartUp> thread(new (std::nothrow)
                                        StartUp{record.start, record.argument, record.name});
    if (!thread)
        return ENOMEM;
    // Counted before it runs: a short thread may have ended by the time the call returns.
    ++threadCount;
    const SignalsBlocked signals;
    const int rc = pthread_create(&record.thread, attributes, runThread, thread.get());
    if (rc != 0)
        --threadCount;
    else
        static_cast<void>(thread.release());
    return rc;
}

int psSetThreadStackSize(pthread_attr_t* attributes, std::size_t bytes) {
    FoundationScope scope("psSetThreadStackSize");
    if (!attributes)
        return kBadArgument;
    const int rc = pthread_attr_setstacksize(attributes, bytes);
    if (rc != 0)
        trError("pthread_attr_setstacksize failed: errno=%d\n", rc);
    else
        trTrace(trThread, "pthread_attr_setstacksize: new stacksize=%u\n",
                static_cast<unsigned>(bytes));
    return rc;
}

void psThreadDelay(unsigned milliseconds) {
    FoundationScope scope("psThreadDelay");
    const int self = static_cast<int>(shortId(psThreadSelf()));
    trTrace(trThread, "Thread %d delaying for %d milliseconds.\n", self,
            static_cast<int>(milliseconds));
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    trTrace(trThread, "Thread %d awakened.\n", self);
}

std::size_t psThreadCount() {
    return threadCount;
}
