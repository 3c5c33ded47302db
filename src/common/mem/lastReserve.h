#pragma once

#include <cstddef>

/// Memory for what must not fail when there is no memory any more: a line of the log, and the
/// end of a job, which gives its locks back and tells the agent.
///
/// While a ReserveUse lives, `operator new` of its thread falls back on the reserve once the
/// system has none (the program replaces it, see Scan/operatorNew.cpp). The reserve is part of
/// the program, 1 MiB that take no memory until they are used. What is taken from it comes back
/// when it is freed, by any thread; it is meant for texts that live no longer than the object.
/// Beyond it `operator new` fails as it always does.
class ReserveUse {
public:
    ReserveUse() noexcept;
    ~ReserveUse();
    ReserveUse(const ReserveUse&) = delete;
    ReserveUse& operator=(const ReserveUse&) = delete;
};

/// For `operator new`: memory of the reserve, aligned for every type; null if this thread does
/// not use the reserve, or for want of room.
[[nodiscard]] void* takeFromReserve(std::size_t size) noexcept;

/// For `operator delete`: gives it back; false if the memory is not of the reserve.
[[nodiscard]] bool giveToReserve(const void* memory) noexcept;
