#include "common/unx/HungFilesystems.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/unx/mountedDevice.h"
#include "common/ut/TraceScope.h"

void HungFilesystems::forgetEnded() {
    threads.remove_if([](const Record& thread) { return thread.context->hasEnded(); });
}

/// To the end of a list.
void HungFilesystems::move(Call& call, Records& to) {
    to.splice(to.end(), *call.in, call.record);
    call.in = &to;
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
    // The calls ahead in the queue; all of them for one that comes anew.
    const auto end = call.in == &queue ? call.record : queue.end();
    const auto ahead = static_cast<std::size_t>(std::distance(queue.begin(), end));
    call.record->isBeyond = threads.size() >= kMostAbandoned;
    Verdict verdict = Verdict::Ask;
    if (call.record->isBeyond)
        verdict = judgeBeyond(call, now);
    else if (threadCount() + ahead >= kMostAbandoned)
        verdict = Verdict::Wait;

    if (verdict != Verdict::Wait)
        move(call, verdict == Verdict::Ask ? made : call.own);
    else if (call.in != &queue)
        move(call, queue);
    return verdict;
}

HungFilesystems::Verdict HungFilesystems::judgeBeyond(Call& call, std::int64_t now) const {
    FoundationScope scope("HungFilesystems::judgeBeyond");
    if (call.place.path.empty())
        call.place = placeOf(call.work);
    const std::uint64_t device = call.record->device = call.place.device;
    const auto asks = [device](const Record& other) { return other.device == device; };
    bool mustWait = std::any_of(made.begin(), made.end(), [&asks](const Record& other) {
        return other.isBeyond && asks(other);
    });
    for (const Record& thread : threads) {
        if (thread.device != device || thread.answers)
            continue;
        if (thread.isBeyond || now < thread.nextProbe || mustWait)
            return Verdict::Refuse;
    }
    const Records::const_iterator end = call.in == &queue ? call.record : queue.end();
    mustWait = mustWait || std::any_of(queue.begin(), end, asks);
    return mustWait ? Verdict::Wait : Verdict::Ask;
}

void HungFilesystems::answered(Call& call) {
    FoundationScope scope("HungFilesystems::answered");
    giveUp(call);
    for (Record& thread : threads) {
        if (call.record->isBeyond && thread.device == call.record->device)
            thread.answers = true;
    }
}

void HungFilesystems::giveUp(Call& call) {
    FoundationScope scope("HungFilesystems::giveUp");
    if (call.isOpen())
        move(call, call.own);
}

void HungFilesystems::add(StatContext::Share context, Call& call, const Place& place,
                          std::int64_t now, std::chrono::nanoseconds limit) {
    FoundationScope scope("HungFilesystems::add");
    call.record->context = std::move(context);
    call.record->device = place.device;
    call.record->nextProbe = now + limit.count();
    move(call, threads);
    call.in = nullptr;
    forgetEnded();
    trTrace(naMin, "%d stat-threads are abandoned, the last one in %s\n",
            static_cast<int>(threads.size()), place.path.c_str());
}
