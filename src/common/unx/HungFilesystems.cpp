#include "common/unx/HungFilesystems.h"

#include <algorithm>
#include <utility>

#include "common/unx/mountedDevice.h"
#include "common/ut/TraceScope.h"

void HungFilesystems::forgetEnded() {
    std::erase_if(threads, [](const Abandoned& thread) { return thread.context->hasEnded(); });
}

HungFilesystems::Place HungFilesystems::placeOf(const GuardedWork& work) {
    FoundationScope scope("HungFilesystems::placeOf");
    std::string path = work.place();
    const std::uint64_t device = mountedDevice(path);
    return {std::move(path), device};
}

HungFilesystems::Verdict HungFilesystems::judge(Call& call, std::int64_t now) {
    FoundationScope scope("HungFilesystems::judge");
    forgetEnded();
    const auto own = std::find(queue.begin(), queue.end(), &call);
    const auto ahead = static_cast<std::size_t>(own - queue.begin());
    call.isBeyond = threads.size() >= kMostAbandoned;
    Verdict verdict = Verdict::Ask;
    if (call.isBeyond)
        verdict = judgeBeyond(call, ahead, now);
    else if (threadCount() + ahead >= kMostAbandoned)
        verdict = Verdict::Wait;

    if (verdict == Verdict::Wait) {
        if (own == queue.end())
            queue.push_back(&call);
        return verdict;
    }
    if (own != queue.end())
        queue.erase(own);
    if (verdict == Verdict::Ask) {
        ++callCount;
        if (call.isBeyond)
            askedBeyond.push_back(call.place.device);
    }
    return verdict;
}

HungFilesystems::Verdict HungFilesystems::judgeBeyond(Call& call, std::size_t ahead,
                                                      std::int64_t now) const {
    FoundationScope scope("HungFilesystems::judgeBeyond");
    if (call.place.path.empty())
        call.place = placeOf(call.work);
    const std::uint64_t device = call.place.device;
    const auto isAsked = std::find(askedBeyond.begin(), askedBeyond.end(), device);
    bool mustWait = isAsked != askedBeyond.end();
    for (const Abandoned& thread : threads) {
        if (thread.device != device || thread.answers)
            continue;
        if (thread.isProbe || now < thread.nextProbe || mustWait)
            return Verdict::Refuse;
    }
    for (std::size_t i = 0; i < ahead; ++i)
        mustWait = mustWait || queue[i]->place.device == device;
    return mustWait ? Verdict::Wait : Verdict::Ask;
}

void HungFilesystems::answered(const Call& call) {
    FoundationScope scope("HungFilesystems::answered");
    notMade(call);
    for (Abandoned& thread : threads) {
        if (call.isBeyond && thread.device == call.place.device)
            thread.answers = true;
    }
}

void HungFilesystems::notMade(const Call& call) {
    --callCount;
    if (call.isBeyond)
        askedBeyond.erase(std::find(askedBeyond.begin(), askedBeyond.end(), call.place.device));
}

void HungFilesystems::add(StatContext::Share context, const Call& call, const Place& place,
                          std::int64_t now, std::chrono::nanoseconds limit) {
    FoundationScope scope("HungFilesystems::add");
    notMade(call);
    forgetEnded();
    threads.push_back(
        {std::move(context), place.device, now + limit.count(), call.isBeyond, false});
    trTrace(naMin, "%d stat-threads are abandoned, the last one in %s\n",
            static_cast<int>(threads.size()), place.path.c_str());
}
