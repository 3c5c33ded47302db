#pragma once

/// The trace: what a developer sees of a run.
///
/// Every call site belongs to a class, and a class is one byte. A call on a class that
/// is off costs the test of that byte and evaluates none of its arguments. `errno` is
/// the same after a call as before it. May be called from any thread, at any time, also
/// before the trace was set up and after it was closed.

#include <string>

extern unsigned char naMin;       // normal trace
extern unsigned char naMid;       // more detail
extern unsigned char naMax;       // all detail
extern unsigned char naEnter;     // function entry
extern unsigned char naExit;      // function exit
extern unsigned char traceError;  // the class ERROR; no level of `-debug` turns it on

/// Writes one line; use the macro below, which tests the class first.
[[gnu::format(printf, 3, 4)]] void trPrint(const char* file, int line, const char* format,
                                           ...) noexcept;

/// The lines "Enter: <function>" and "Exit: <function>"; used through TraceScope.
void trEnter(const char* function) noexcept;
void trExit(const char* function) noexcept;

/// Switches on the classes of a level: "MIN", "MID" or "MAX"; an empty text switches all
/// off. Call it before a second thread exists. Returns 0, or -1 for another text.
[[nodiscard]] int trSetLevel(const std::string& level) noexcept;

// A macro, so that the arguments of a switched-off call are not evaluated.
#define trTrace(traceClass, ...)                      \
    do {                                              \
        if (traceClass) [[unlikely]]                  \
            trPrint(__FILE__, __LINE__, __VA_ARGS__); \
    } while (false)
