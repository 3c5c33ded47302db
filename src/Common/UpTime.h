#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

class CommonAgent;

/// The boots of this host and the time it was down, kept in the file "log/UPTIME" below the
/// install location:
///
///     UpTime upTime(CommonAgentFactory::getCommonAgent(), installLoc);
///     if (upTime.initialize() == 0)
///         ... upTime.getDownTime() ...
///
/// The file holds five numbers of 64 bits without sign, least significant byte first. Times
/// are milliseconds; points in time count from the epoch.
///
///     offset  0  beganMonitoring  the first record
///     offset  8  previousBoot     the last boot seen
///     offset 16  downTime         the time seen down, in all
///     offset 24  lastAlive        the last write
///     offset 32  powerCycles      the boots seen
///
/// A damaged file is reported and started anew. Codes are 0 or an errno value. One thread.
class UpTime {
public:
    /// `host` must outlive the object. Without an install location the default one counts.
    UpTime(const CommonAgent* host, const std::string& installLoc);

    /// Reads the file or starts a new record, takes a boot since then into account, and
    /// writes the file.
    [[nodiscard]] int initialize();

    /// Writes the record as that of a host that is alive now; the file's own record first
    /// replaces it if `readFirst` is set and there is a whole one.
    [[nodiscard]] int writeBuf(bool readFirst);

    /// Forgets what was seen before `start`, and writes the file.
    [[nodiscard]] int reset(std::uint64_t start);

    [[nodiscard]] std::uint64_t getBeganMonitoring() const { return get(kBeganMonitoring); }
    [[nodiscard]] std::uint64_t getPreviousBoot() const { return get(kPreviousBoot); }
    [[nodiscard]] std::uint64_t getDownTime() const { return get(kDownTime); }
    [[nodiscard]] std::uint64_t getLastAlive() const { return get(kLastAlive); }
    [[nodiscard]] std::uint64_t getPowerCycles() const { return get(kPowerCycles); }

private:
    enum Offset : std::size_t {
        kBeganMonitoring = 0,
        kPreviousBoot = 8,
        kDownTime = 16,
        kLastAlive = 24,
        kPowerCycles = 32,
    };
    static constexpr int kLength = 40;  // bytes of the file

    [[nodiscard]] std::uint64_t get(Offset field) const;
    void put(Offset field, std::uint64_t value);
    void startRecord();
    void noteBoot();
    [[nodiscard]] int readRecord();

    const CommonAgent* const agent;  // not owned
    const std::string upTimePath;
    std::array<unsigned char, kLength> record{};
};
