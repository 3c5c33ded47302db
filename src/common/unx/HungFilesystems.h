#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/unx/StatContext.h"

/// The threads that were abandoned in a call that hangs, and the file systems they hang in.
///
/// A few of them change nothing. From kMostAbandoned on, a file system that holds one of them
/// is asked only once per time-out, by a probe: if it answers, it is used again, and if not,
/// the probe stays the last one until it returns. So there are never more threads than these,
/// and a probe for each file system that hangs.
///
/// Not locked; times are nanoseconds on the monotonic clock.
class HungFilesystems {
public:
    static constexpr std::size_t kMostAbandoned = 16;

    enum class Verdict { Ask, Probe, Refuse };

    /// What to do with a call.
    [[nodiscard]] Verdict judge(const GuardedWork& work, std::int64_t now);

    /// The call that was judged last, a probe, was answered.
    void answered();

    /// Keeps a context that was abandoned in this call, until its thread ends.
    void add(StatContext::Share context, const GuardedWork& work, std::int64_t now,
             std::chrono::nanoseconds limit);

private:
    struct Abandoned {
        StatContext::Share context;
        std::uint64_t device;    // see mountedDevice()
        std::int64_t nextProbe;  // not before
        bool isProbe;
        bool answers;  // its file system does again
    };

    void forgetEnded();

    std::vector<Abandoned> threads;  // oldest first
    std::uint64_t judged = 0;        // device of the call that was judged last
};
