#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

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
/// Not locked; times are nanoseconds on the monotonic clock.
class HungFilesystems {
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
    struct Call {
        const GuardedWork& work;
        Place place;            // at its beginning; empty unless it was needed
        bool isBeyond = false;  // asks though so many threads are abandoned
    };

    /// What to do with a call. If it is to wait, it is in the queue, and is to be judged again
    /// when another call has ended or was refused.
    [[nodiscard]] Verdict judge(Call& call, std::int64_t now);

    /// A call ends: with an answer, or it could not be made.
    void answered(const Call& call);
    void notMade(const Call& call);

    /// A call ends in `place` without an answer. Keeps its context, which was abandoned, until
    /// the thread ends.
    void add(StatContext::Share context, const Call& call, const Place& place, std::int64_t now,
             std::chrono::nanoseconds limit);

    [[nodiscard]] bool someAreMade() const { return callCount > 0; }

    /// Threads that are abandoned or at work.
    [[nodiscard]] std::size_t threadCount() const { return threads.size() + callCount; }

private:
    struct Abandoned {
        StatContext::Share context;
        std::uint64_t device;
        std::int64_t nextProbe;  // not before
        bool isProbe;
        bool answers;  // its file system does again
    };

    void forgetEnded();
    [[nodiscard]] Verdict judgeBeyond(Call& call, std::size_t ahead, std::int64_t now) const;

    std::vector<Abandoned> threads;          // oldest first
    std::size_t callCount = 0;               // calls that are made
    std::vector<std::uint64_t> askedBeyond;  // devices of those that are beyond
    std::vector<const Call*> queue;          // not owned; who waits, the first one is next
};
