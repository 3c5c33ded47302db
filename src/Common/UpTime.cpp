#include "Common/UpTime.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <string_view>

#include "Common/CommonAgent.h"
#include "Common/LogManager.h"
#include "Common/unix/psnautil.h"
#include "common/unx/UniqueFd.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::uint64_t kSameBoot = 5000;  // ms by which two readings of one boot may differ
constexpr std::int64_t kLeastDownTime = 20000;  // ms that a boot counts for at least
constexpr int kUnreadable = -1;

// A FIFO or a link in place of the file is no file.
constexpr int kOpenFlags = O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW;

std::uint64_t now() {
    return static_cast<std::uint64_t>(currentMilliseconds());
}

unsigned long long shown(std::uint64_t value) {
    return value;
}

}  // namespace

UpTime::UpTime(const CommonAgent* host, const std::string& installLoc)
    : agent(host),
      upTimePath((installLoc.empty() ? getDefaultInstallLoc() : installLoc) + "/log/UPTIME") {}

int UpTime::initialize() {
    TraceScope scope("UpTime::initialize");
    if (!psFileExists(upTimePath)) {
        trTrace(naMin, ">> uptime file: %s does not exist\n", upTimePath.c_str());
        startRecord();
    } else if (const int bytes = std::max(readRecord(), 0); bytes < kLength) {
        trTrace(naMin,
                "Read: %d bytes, expected: %d bytes, assume corrupted file resetting values\n",
                bytes, kLength);
        logMsg(message::STA0119E, {upTimePath});
        startRecord();
    }
    noteBoot();
    trTrace(naMin, ">> Adjusted downTime = %llu and powerCycles = %llu\n", shown(getDownTime()),
            shown(getPowerCycles()));
    return writeBuf(false);
}

int UpTime::writeBuf(bool readFirst) {
    TraceScope scope("UpTime::writeBuf");
    const int bytes = readFirst ? readRecord() : kLength;
    if (bytes == kUnreadable) {
        trTrace(naMin, "Unable to open file %s\n", upTimePath.c_str());
    } else if (bytes < kLength) {
        trTrace(naMin, "Read: %d bytes, expected: %d bytes,file may be corrupted\n", bytes,
                kLength);
        logMsg(message::STA0119E, {upTimePath});
    }
    put(kLastAlive, now());

    const UniqueFd fd(
        openFile(upTimePath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | kOpenFlags, 0644));
    if (!fd) {
        const int error = errno;
        trTrace(naMin, "Unable to open %s for writing\n", upTimePath.c_str());
        return error;
    }
    const std::string_view bytesOfRecord(reinterpret_cast<const char*>(record.data()),
                                         record.size());
    if (writeWhole(fd.get(), bytesOfRecord))
        return 0;
    const int error = errno;
    trTrace(naMin, "Failed to write %d bytes to UPTIME file\n", kLength);
    return error;
}

int UpTime::reset(std::uint64_t start) {
    TraceScope scope("UpTime::reset");
    put(kBeganMonitoring, start);
    put(kDownTime, 0);
    put(kPowerCycles, 0);
    return writeBuf(false);
}

std::uint64_t UpTime::get(Offset field) const {
    std::uint64_t value = 0;
    for (std::size_t i = 8; i-- > 0;)
        value = value << 8U | record[field + i];
    return value;
}

void UpTime::put(Offset field, std::uint64_t value) {
    for (std::size_t i = 0; i < 8; ++i, value >>= 8U)
        record[field + i] = static_cast<unsigned char>(value);
}

/// The record of a host that is seen for the first time.
void UpTime::startRecord() {
    TraceScope scope("UpTime::startRecord");
    put(kBeganMonitoring, now());
    put(kPreviousBoot, static_cast<std::uint64_t>(agent->getLastBootTime()));
    put(kDownTime, 0);
    put(kLastAlive, getBeganMonitoring());
    put(kPowerCycles, 0);
    trTrace(naMin, ">> Initialized beganMonitoring = %llu\n", shown(getBeganMonitoring()));
    trTrace(naMin, ">> Initialized previousBoot = %llu\n", shown(getPreviousBoot()));
    trTrace(naMin, ">> Initialized downTime = %llu\n", shown(getDownTime()));
    trTrace(naMin, ">> Initialized powerCycles = %llu\n", shown(getPowerCycles()));
}

void UpTime::noteBoot() {
    TraceScope scope("UpTime::noteBoot");
    const auto boot = static_cast<std::uint64_t>(agent->getLastBootTime());
    // Added, since a clock that was set back puts the boot before the one in the record.
    if (boot <= getPreviousBoot() + kSameBoot)
        return;
    const auto down = static_cast<std::int64_t>(boot - getLastAlive());
    put(kPreviousBoot, boot);
    put(kDownTime, getDownTime() + static_cast<std::uint64_t>(std::max(down, kLeastDownTime)));
    put(kPowerCycles, getPowerCycles() + 1);
}

/// The bytes read, kUnreadable if the file does not open. Only a whole record is taken.
int UpTime::readRecord() {
    TraceScope scope("UpTime::readRecord");
    const UniqueFd fd(openFile(upTimePath.c_str(), O_RDONLY | kOpenFlags));
    if (!fd)
        return kUnreadable;
    std::array<unsigned char, kLength> found{};
    const ssize_t bytes = std::max<ssize_t>(readWhole(fd.get(), found.data(), found.size()), 0);
    if (bytes == static_cast<ssize_t>(found.size()))
        record = found;
    return static_cast<int>(bytes);
}
