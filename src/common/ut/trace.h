#pragma once

/// The trace: what a developer sees of a run. Here stands what call sites need; the file
/// behind it is traceControl.h, the classes by name are traceClasses.h.
///
/// Every call site belongs to a class, and a class is one byte. A call on a class that
/// is off costs the test of that byte and evaluates none of its arguments. `errno` is
/// the same after a call as before it. May be called from any thread, at any time, also
/// before the trace was set up and after it was closed.

// Classes of the agent's programs.
extern unsigned char naMin;    // normal trace
extern unsigned char naMid;    // more detail
extern unsigned char naMax;    // all detail
extern unsigned char naEnter;  // function entry
extern unsigned char naExit;   // function exit

// Classes ENTER and EXIT: entry and exit of the foundation's functions.
extern unsigned char trEnterClass;
extern unsigned char trExitClass;

/// Writes one line, with a line end if it has none; nothing while no trace is open. A
/// format without inner line ends gives one line whatever its arguments hold: control
/// characters other than tabs become blanks (blankControls()). One with inner line ends needs
/// texts that are printable(). Used through the macros below.
[[gnu::format(printf, 3, 4)]] void trPrint(const char* file, int line, const char* format,
                                           ...) noexcept;

/// The lines "Enter: <function>" and "Exit: <function>"; used through TraceScope.
void trEnter(const char* function, const char* file, int line) noexcept;
void trExit(const char* function, const char* file, int line) noexcept;

// Macros, so that the arguments of a switched-off call are not evaluated.
#define trTrace(traceClass, ...)                      \
    do {                                              \
        if (traceClass) [[unlikely]]                  \
            trPrint(__FILE__, __LINE__, __VA_ARGS__); \
    } while (false)

/// A line of the class ERROR: written whenever a trace is open, at every level.
#define trError(...) trPrint(__FILE__, __LINE__, __VA_ARGS__)
