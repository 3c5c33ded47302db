#include "common/unx/HungFilesystems.h"

#include <string>
#include <utility>

#include "common/unx/mountedDevice.h"
#include "common/ut/TraceScope.h"

void HungFilesystems::forgetEnded() {
    std::erase_if(threads, [](const Abandoned& thread) { return thread.context->hasEnded(); });
}

HungFilesystems::Verdict HungFilesystems::judge(const GuardedWork& work, std::int64_t now) {
    FoundationScope scope("HungFilesystems::judge");
    if (threads.empty())
        return Verdict::Ask;
    forgetEnded();
    if (threads.size() < kMostAbandoned)
        return Verdict::Ask;

    judged = mountedDevice(work.place());
    Verdict verdict = Verdict::Ask;
    for (const Abandoned& thread : threads) {
        if (thread.device != judged || thread.answers)
            continue;
        if (thread.isProbe || now < thread.nextProbe)
            return Verdict::Refuse;
        verdict = Verdict::Probe;
    }
    return verdict;
}

void HungFilesystems::answered() {
    FoundationScope scope("HungFilesystems::answered");
    for (Abandoned& thread : threads) {
        if (thread.device == judged)
            thread.answers = true;
    }
}

void HungFilesystems::add(StatContext::Share context, const GuardedWork& work, std::int64_t now,
                          std::chrono::nanoseconds limit) {
    FoundationScope scope("HungFilesystems::add");
    forgetEnded();
    const bool isProbe = threads.size() >= kMostAbandoned;
    const std::string place = work.place();
    threads.push_back(
        {std::move(context), mountedDevice(place), now + limit.count(), isProbe, false});
    trTrace(naMin, "%d stat-threads are abandoned, the last one in %s\n",
            static_cast<int>(threads.size()), place.c_str());
}
