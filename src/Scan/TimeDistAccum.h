#pragma once

#include <cstdint>

#include "Scan/Accumulator.h"

class STimeDist;

/// Counts every entry in the range of its age, by the time that a subclass reads. An age
/// runs from that time to the start of the walk.
class TimeDistAccum : public Accumulator {
public:
    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

    /// Sets the average age.
    void finish(CuStatResults* results) override;

    /// The time, in milliseconds since the epoch. A null `pInfo` raises GenericException.
    [[nodiscard]] virtual std::int64_t time(FileAttributes* pInfo) const = 0;

protected:
    /// `record` belongs to the results, which outlive this object.
    TimeDistAccum(const char* name, STimeDist* record) noexcept
        : Accumulator(name), target(record) {}

    /// A time was asked for without a file.
    [[noreturn]] static void throwMissingFile(bool isLogged);

private:
    STimeDist* const target;      // not owned
    std::int64_t accumCount = 0;  // entries in the average
    std::int64_t ageTotal = 0;    // seconds; wraps
};
