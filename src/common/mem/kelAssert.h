#pragma once

#include "common/ut/trace.h"

/// Reports what must hold in a sound pool and does not, and returns whether it holds. Meant:
/// the process goes on. A pool that is broken loses blocks; a scan must not end for that.
[[nodiscard]] inline bool kelAssert(bool holds, const char* condition) noexcept {
    if (!holds) [[unlikely]]
        trError("KELMEM Assertion failed: %s\n", condition);
    return holds;
}
