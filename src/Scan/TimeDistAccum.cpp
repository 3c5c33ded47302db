#include "Scan/TimeDistAccum.h"

#include <array>

#include "Common/GenericException.h"
#include "Common/LogManager.h"
#include "Scan/FileAttributes.h"
#include "Scan/STimeDist.h"
#include "Scan/Scanner.h"
#include "common/ut/TraceScope.h"
#include "common/ut/wrapAdd.h"

namespace {

constexpr std::int64_t kDay = 86400;  // seconds

// Upper bounds of the age ranges, in seconds; an age on a bound lies in that range.
constexpr std::array<std::int64_t, 8> kAgeBounds = {
    1 * kDay, 7 * kDay, 30 * kDay, 60 * kDay, 90 * kDay, 180 * kDay, 270 * kDay, 31557600};
constexpr std::size_t kFuture = 9;

constexpr char kMissingFile[] = "TimeDistAccum::time() : ERROR: The parameter <pInfo> is NULL.";
constexpr std::int32_t kFatal = 8;

std::size_t ageRange(std::int64_t age) {
    if (age < -kDay)
        return kFuture;  // up to a day ahead is normal: clocks of file servers differ

    std::size_t range = 0;
    while (range < kAgeBounds.size() && kAgeBounds[range] < age)
        ++range;
    return range;
}

}  // namespace

void TimeDistAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("TimeDistAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    const std::int64_t now = static_cast<std::uint32_t>(pScanner->getScanTime());  // until 2106
    const std::int64_t age = now - time(pInfo) / 1000;
    const std::size_t range = ageRange(age);
    target->tdSizes[range] = wrapAdd(target->tdSizes[range], pInfo->faBlocks);
    target->tdCounts[range] += 1;
    if (range == kFuture)
        return;  // a false date would spoil the average

    accumCount += 1;
    ageTotal = wrapAdd(ageTotal, age);
}

void TimeDistAccum::finish(CuStatResults* /*results*/) {
    TraceScope scope("TimeDistAccum::finish");
    if (accumCount > 0)
        target->tdAverageAge = ageTotal / accumCount;
}

void TimeDistAccum::throwMissingFile(bool isLogged) {
    TraceScope scope("TimeDistAccum::throwMissingFile");
    if (isLogged)
        logMsg(message::STA0028I, {kMissingFile});
    throwGenericException(kFatal, static_cast<std::uint32_t>(message::STA0028I.number), "pInfo",
                          message::STA0028I.identifier);
}
