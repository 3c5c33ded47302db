#pragma once

#include "common/ut/trace.h"

/// Traces "Enter: <name>" now and "Exit: <name>" when the scope ends, by return or by
/// exception. Off, it costs one byte test at each end. Keeps errno.
class TraceScope {
public:
    explicit TraceScope(const char* name) noexcept : function(name) {
        if (naEnter) [[unlikely]]
            trEnter(function);
    }
    ~TraceScope() {
        if (naExit) [[unlikely]]
            trExit(function);
    }
    TraceScope(const TraceScope&) = delete;
    TraceScope& operator=(const TraceScope&) = delete;

private:
    const char* const function;  // a string literal
};
