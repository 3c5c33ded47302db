#include "common/thrd/psThread.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <thread>

#include "common/ut/TraceScope.h"
#include "common/ut/traceClasses.h"

namespace {

constexpr int kBadArgument = 109;

unsigned shortId(psThreadId thread) {
    return static_cast<std::uint32_t>(thread);
}

/// The threads of the process besides the first one.
struct ThreadTable {
    std::mutex mutex;
    std::set<const void*> members;  // the start-up record of each
};

/// Never destroyed: threads may end later than static objects.
ThreadTable& table() {
    static ThreadTable& instance = *new ThreadTable;
    return instance;
}

/// What a new thread runs; owned by the thread.
struct StartUp {
    void* (*start)(void*);
    void* argument;
    const char* name;
};

void enter(const StartUp* thread) {
    const std::lock_guard<std::mutex> lock(table().mutex);
    table().members.insert(thread);
}

void leave(const StartUp* thread) {
    const std::lock_guard<std::mutex> lock(table().mutex);
    table().members.erase(thread);
}

/// Takes the thread out of the table on every way out, cancellation too.
class Membership {
public:
    explicit Membership(StartUp* record) : thread(record) {}
    ~Membership() {
        leave(thread.get());
        trTrace(trThread, "Thread %d exit called.\n",
                static_cast<int>(shortId(psThreadSelf())));
    }
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;

    [[nodiscard]] const StartUp& record() const { return *thread; }

private:
    std::unique_ptr<StartUp> thread;
};

void* runThread(void* argument) {
    const Membership membership(static_cast<StartUp*>(argument));
    const StartUp& thread = membership.record();
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
    // Entered before it runs: a short thread may have left by the time the call returns.
    enter(thread.get());
    const int rc = pthread_create(&record.thread, attributes, runThread, thread.get());
    if (rc != 0)
        leave(thread.get());
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
    const std::lock_guard<std::mutex> lock(table().mutex);
    return table().members.size();
}
