#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <string>

#include "common/unx/StatContext.h"

/// The guarded calls that are made, the threads that were abandoned in one that hangs, and the
/// file systems they hang in.
///
/// Calls that are made and threads that are abandoned are kMostAbandoned together; a caller for
/// whom no place is left waits in a queue for the end of another call. So a few threads change
/// nothing, and all that is being asked may hang. From that many abandoned threads on, each
/// file system is asked by one call at a time, and one that holds some of them only once per
/// time-out, by a probe: if it answers, it is used again, and if not, the probe stays the last
/// one until it returns. So there are never more threads than these, and a probe for each file
/// system that hangs.
///
/// Each call has one record, which moves from list to list. It is made with the call, so that
/// nothing here fails for want of memory but a look at the mount table, which changes nothing.
///
/// Not locked; times are nanoseconds on the monotonic clock.
class HungFilesystems {
    struct Record {
        std::uint64_t device = 0;    // asked for when it is beyond, or hangs
        bool isBeyond = false;       // asks though so many threads are abandoned
        StatContext::Share context;  // of an abandoned thread, like the next
        std::int64_t nextProbe = 0;  // not before
        bool answers = false;        // its file system does again
    };
    using Records = std::list<Record>;

public:
    static constexpr std::size_t kMostAbandoned = 16;

    enum class Verdict { Ask, Wait, Refuse };

    struct Place {
        std::string path;
        std::uint64_t device = 0;  // see mountedDevice()
    };

    /// Where the work is by now. Asks no file system.
    [[nodiscard]] static Place placeOf(const GuardedWork& work);

    /// A call, from its first judgement to its end.
    class Call {
    public:
        explicit Call(const GuardedWork& toDo) : work(toDo), own(1), record(own.begin()) {}
        ~Call() = default;
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

        const GuardedWork& work;

        /// True while it is made or waits. Its own thread only.
        [[nodiscard]] bool isOpen() const { return in && in != &own; }

    private:
        friend class HungFilesystems;

        Place place;         // at its beginning; empty unless it was needed
        Records own;         // holds the record before and after the call
        Records* in = &own;  // not owned; the list that holds it, null after add()
        Records::iterator record;
    };

    /// What to do with a call. If it is to wait, it is in the queue, and is to be judged again
    /// when another call has ended or was refused.
    [[nodiscard]] Verdict judge(Call& call, std::int64_t now);

    /// A call ends with an answer.
    void answered(Call& call);

    /// Gives up a call that is made or waits; any other stays as it is.
    void giveUp(Call& call);

    /// A call that is made ends in `place` without an answer. Keeps its context, which was
    /// abandoned, until the thread ends.
    void add(StatContext::Share context, Call& call, const Place& place, std::int64_t now,
             std::chrono::nanoseconds limit);

    [[nodiscard]] bool someAreMade() const { return !made.empty(); }

    /// Threads that are abandoned or at work.
    [[nodiscard]] std::size_t threadCount() const { return threads.size() + made.size(); }

private:
    static void move(Call& call, Records& to);
    void forgetEnded();
    [[nodiscard]] Verdict judgeBeyond(Call& call, std::int64_t now) const;

    Records threads;  // abandoned, oldest first
    Records made;     // calls
    Records queue;    // calls that wait, the first one is next
};
