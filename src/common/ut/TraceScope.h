#pragma once

#include "common/ut/trace.h"

/// Traces "Enter: <name>" now and "Exit: <name>" when the scope ends, by return or by
/// exception. Off, it costs one byte test at each end. Keeps errno.
class TraceScope {
public:
    /// The position is that of the caller; leave it out.
    explicit TraceScope(const char* name, const char* sourceFile = __builtin_FILE(),
                        int sourceLine = __builtin_LINE()) noexcept
        : function(name), file(sourceFile), line(sourceLine) {
        if (naEnter) [[unlikely]]
            trEnter(function, file, line);
    }
    ~TraceScope() {
        if (naExit) [[unlikely]]
            trExit(function, file, line);
    }
    TraceScope(const TraceScope&) = delete;
    TraceScope& operator=(const TraceScope&) = delete;

private:
    const char* const function;  // a string literal
    const char* const file;      // a string literal
    const int line;
};
