#include "common/thrd/GlobalRC.h"

#include <algorithm>
#include <atomic>

#include "common/thrd/pkMutex.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr int kWarning = 8;
constexpr int kError = 12;
constexpr int kLockMessage = 263;

struct Record {
    int rc = 0;
    int rcMacroMax = 0;
    int rcMax = 0;
    int upkeepLevel = 0;
    GlobalRC::Messages messages{};
    pkMutexOwner mutex;
};

/// Null before create() and after destroy(), which the main thread calls while it is alone.
std::atomic<Record*> current{nullptr};

/// The messages of log upkeep that are graded by their number. What an upkeep that goes
/// well says (216, 217, 232, 233) is none of them.
bool isUpkeep(int number) {
    constexpr int first = 201;
    constexpr int last = 250;
    constexpr int routine[] = {216, 217, 232, 233};
    return number >= first && number <= last &&
           std::find(std::begin(routine), std::end(routine), number) == std::end(routine);
}

int severityLevel(int severity) {
    switch (severity) {
        case 5:
            return kWarning;
        case 3:
        case 6:
        case 7:
            return kError;
        default:
            return 0;
    }
}

int levelOf(const Record& record, int number) {
    if (number == kLockMessage)
        return kError;
    if (isUpkeep(number))
        return record.upkeepLevel == 0 ? kError : std::max(record.upkeepLevel, kWarning);
    return severityLevel(record.messages.severityOf(number));
}

/// A value under the lock, 0 without a record.
int valueOf(int Record::*member) {
    Record* const record = current;
    if (!record)
        return 0;
    const pkMutexHolder lock(record->mutex.get());
    return record->*member;
}

void clear(bool command, bool process) {
    Record* const record = current;
    if (!record)
        return;
    const pkMutexHolder lock(record->mutex.get());
    trTrace(naMax, "Before processing, rc = %d, rcMacroMax = %d, rcMax = %d.\n", record->rc,
            record->rcMacroMax, record->rcMax);
    record->rc = 0;
    if (command)
        record->rcMacroMax = 0;
    if (process)
        record->rcMax = 0;
}

}  // namespace

void GlobalRC::create(const Messages& messages) {
    FoundationScope scope("GlobalRC::create");
    destroy();
    auto record = std::make_unique<Record>();
    record->messages = messages;
    record->mutex.reset(pkCreateMutex());
    current = record.release();
}

void GlobalRC::destroy() noexcept {
    FoundationScope scope("GlobalRC::destroy");
    delete current.exchange(nullptr);
}

bool GlobalRC::set(int number) {
    FoundationScope scope("GlobalRC::set");
    Record* const record = current;
    if (!record)
        return false;
    const pkMutexHolder lock(record->mutex.get());
    if (!lock.held()) {
        trError("Unable to acquire global rc mutex\n");
        record->messages.print(kLockMessage);
        return false;
    }
    const int level = levelOf(*record, number);
    if (level <= record->rc)
        return false;
    record->rc = level;
    record->rcMacroMax = std::max(record->rcMacroMax, level);
    record->rcMax = std::max(record->rcMax, level);
    trTrace(naMid, "New values: rc = %d, rcMacroMax = %d, rcMax = %d.\n", record->rc,
            record->rcMacroMax, record->rcMax);
    return true;
}

int GlobalRC::get() {
    return valueOf(&Record::rc);
}

int GlobalRC::getMacroMax() {
    return valueOf(&Record::rcMacroMax);
}

int GlobalRC::getMax() {
    return valueOf(&Record::rcMax);
}

void GlobalRC::clearRC() {
    clear(false, false);
}

void GlobalRC::clearMacroRC() {
    clear(true, false);
}

void GlobalRC::clearAllRC() {
    clear(true, true);
}

void GlobalRC::setUpkeepLevel(int level) {
    Record* const record = current;
    if (!record)
        return;
    const pkMutexHolder lock(record->mutex.get());
    record->upkeepLevel = level;
}
