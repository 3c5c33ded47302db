#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "common/thrd/pkMutex.h"
#include "common/thrd/psThread.h"
#include "common/unx/UniqueFd.h"

class StatContext;

/// File system calls that belong together, to be made by a helper thread because any of them
/// can hang.
///
/// The caller fills the object in, hands it to guardedCall() and reads it when that is back.
/// If the time is over, the thread still holds the object, and keeps it until the kernel
/// returns: whatever the system stores late goes there and nowhere else. So everything that
/// a call reads or writes is part of the object, and what is to be read after a time-out is
/// changed through StatContext::publish() alone.
class GuardedWork {
public:
    GuardedWork() = default;
    virtual ~GuardedWork() = default;
    GuardedWork(const GuardedWork&) = delete;
    GuardedWork& operator=(const GuardedWork&) = delete;

    /// Makes the calls: 0 or the errno value for the trace. Helper thread, which can be
    /// cancelled in a system call: no scope objects, nothing that allocates.
    [[nodiscard]] virtual int run(StatContext& context) = 0;

    /// What is asked, for the trace. Either thread.
    [[nodiscard]] virtual const char* name() const = 0;

    /// The path of what hangs, as far as it is known. Caller's thread.
    [[nodiscard]] virtual std::string place() const { return name(); }
};

/// A helper thread for calls that can hang, and what it shares with its caller: the work, two
/// pipes, and whether it was abandoned.
///
/// The pipes carry the order only. A tap on the request pipe hands the work to the thread, one
/// on the reply pipe hands it back; who has it uses it without a lock. A caller that no longer
/// waits abandons the thread: it never touches the descriptors again, and ends when the call
/// that it is in returns, if ever. Thread and caller share the context; the last one frees it.
class StatContext {
public:
    /// Gives the caller's share back.
    struct Release {
        void operator()(StatContext* context) const { context->release(); }
    };
    using Share = std::unique_ptr<StatContext, Release>;

    /// Opens the pipes and starts the thread; null with errno after a failure.
    [[nodiscard]] static Share create();

    StatContext(const StatContext&) = delete;
    StatContext& operator=(const StatContext&) = delete;

    // For the caller.

    [[nodiscard]] int requestWrite() const { return pipes[1].get(); }
    [[nodiscard]] int replyRead() const { return pipes[2].get(); }

    /// Stores what the next tap hands over, or null when the last one has handed it back.
    void setWork(std::shared_ptr<GuardedWork> next);

    /// Lets the thread run on this processor only.
    void moveTo(int number);

    /// What the work is at: how many steps there were, and when the present one began, in
    /// nanoseconds on the monotonic clock.
    struct Step {
        std::uint64_t number = 0;
        std::int64_t began = 0;
    };
    [[nodiscard]] Step step() const;

    /// Cancels the thread and closes the pipes. What the work has published by now stays so.
    void abandon();

    /// The same, but only if the work is still at the step `seen`. If it has got on meanwhile,
    /// the call that took too long has returned: false, and `seen` is the present step.
    [[nodiscard]] bool abandonIn(Step& seen);

    /// True once the thread has nothing more to do with the context.
    [[nodiscard]] bool hasEnded() const;

    // For the helper thread.

    /// Makes a system call, in which the thread can be cancelled at any instruction: not for
    /// calls that give a descriptor, which would be lost. As syscall(2), but repeated while a
    /// signal interrupts it.
    static long cancellable(long number, long first, long second, long third, long fourth,
                            long fifth);

    /// The same, not repeated.
    static long cancellableOnce(long number, long first, long second, long third, long fourth,
                                long fifth);

    /// Lets `change` happen and begins the next step of the work. False, and no change, if the
    /// thread was abandoned: the work is then to return.
    template <class Change>
    [[nodiscard]] bool publish(std::int64_t now, const Change& change) {
        if (!holdPipes())
            return false;
        change();
        beginStep(now);
        releasePipes();
        return true;
    }

    /// Locks the context; not, and false, if the thread was abandoned.
    [[nodiscard]] bool holdPipes();
    void releasePipes();

private:
    StatContext() = default;
    ~StatContext() = default;

    [[nodiscard]] bool openPipes();
    [[nodiscard]] bool startThread();
    void beginStep(std::int64_t now) {
        ++current.number;
        current.began = now;
    }
    void abandonLocked();
    void release();
    static void* StatFsThread(void* argument);
    static void leave(void* argument);
    void serve();

    std::atomic<int> shares{1};
    std::array<UniqueFd, 4> pipes;      // request read and write, reply read and write
    std::shared_ptr<GuardedWork> work;  // of whoever has the tap
    psThreadId thread = 0;              // used by the caller only, like the next
    int processor = -1;                 // to which the thread was sent last
    pkMutexOwner mutex;                 // guards what follows, and each byte of a pipe
    bool abandoned = false;
    bool ended = false;
    Step current;  // of the work; the last one is that its tap comes back
};
