#pragma once

#include "common/ut/trace.h"

/// Traces "Enter: <name>" now and "Exit: <name>" when the scope ends, by return or by
/// exception. Off, it costs one byte test at each end. Keeps errno.
template <const unsigned char& enterClass, const unsigned char& exitClass>
class ScopeOf {
public:
    /// The position is that of the caller; leave it out.
    explicit ScopeOf(const char* name, const char* sourceFile = __builtin_FILE(),
                     int sourceLine = __builtin_LINE()) noexcept
        : function(name), file(sourceFile), line(sourceLine) {
        if (enterClass) [[unlikely]]
            trEnter(function, file, line);
    }
    // Inlined on the way of an exception too: otherwise the object has an address, and every
    // call site pays for filling it.
    [[gnu::always_inline]] ~ScopeOf() {
        if (exitClass) [[unlikely]]
            trExit(function, file, line);
    }
    ScopeOf(const ScopeOf&) = delete;
    ScopeOf& operator=(const ScopeOf&) = delete;

private:
    const char* const function;  // a string literal
    const char* const file;      // a string literal
    const int line;
};

/// Of the agent's programs: what a trace at MAX tells of a run.
using TraceScope = ScopeOf<naEnter, naExit>;

/// Of the foundation, src/common/: many for each message, and no part of that story.
using FoundationScope = ScopeOf<trEnterClass, trExitClass>;
