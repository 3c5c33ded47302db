#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The file behind the trace.
///
/// With a limit the file wraps: its first line holds, at fixed places, where the newest
/// data ends, and behind the newest line stands "END OF DATA". The oldest lines follow.
///
///     offset  0  12 bytes  "CVN Trace   "
///     offset 12  12 bytes  offset of the next line, decimal, left aligned
///     offset 24  10 bytes  limit in megabytes, likewise
///     offset 34  product, version and build date, two line ends
///
/// A limit above 1000 MB is divided into segments, files of their own with the endings
/// ".1", ".2" and so on, which are filled in turn. Failures of a trace never stop a job.
/// All functions may be called from any thread; set-up belongs to the main thread.

/// What trOpen() returns when the file cannot be opened.
inline constexpr int TR_OPEN_FAILED = 426;

/// What the programs of the family differ in.
struct TraceHooks {
    int programType = 0;                    // for lines of the class CLIENTTYPE
    std::uint32_t (*threadId)() = nullptr;  // runs in the tracing thread; null for its own
    /// The line that is put where another thread begins to trace, while THREAD is on.
    std::string (*threadHeader)(std::uint32_t thread) = nullptr;
    /// Takes what is traced to "CONSOLE"; null for standard error.
    void (*console)(std::string_view text) = nullptr;
};

/// Starts the facility: 0. Call it before a second thread exists.
int trStart(const TraceHooks& hooks);

/// The hooks of trStart().
[[nodiscard]] const TraceHooks& trHooks() noexcept;

/// Limits the trace to so many megabytes; 0 for no limit, and then it does not wrap.
int trSetMax(std::uint32_t megabytes);

/// Divides it into segments of so many megabytes; 0 for none.
int trSetSegment(std::uint32_t megabytes);

/// Opens the trace: 0, also if it is open; -1 for a bad name; TR_OPEN_FAILED. "STDOUT",
/// "STDERR" and "CONSOLE" stand for those streams. A wrapping file of an earlier run goes
/// on if its limit is not above the present one and its header makes sense; any other file
/// starts over. With `banner` it is told what is traced where.
[[nodiscard]] int trOpen(const std::string& name, bool banner);

/// Closes the file; with `forget` limits and segments are cleared too.
int trClose(bool forget);

/// Writes text as it stands: the number of bytes, or 0 while no trace is open.
std::size_t trPrintRaw(std::string_view text) noexcept;

/// True while a trace is open.
[[nodiscard]] bool trIsOpen() noexcept;
