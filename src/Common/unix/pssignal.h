#pragma once

#include <atomic>

/// Set by the termination signal and never cleared; directory readers look at it before
/// every entry and raise ScanAbortException. Read from any thread.
extern std::atomic<bool> agentStop;
static_assert(std::atomic<bool>::is_always_lock_free, "it is set by a signal handler");

/// Lets SIGTERM ask the job to stop, ignores SIGPIPE, SIGHUP and SIGXFSZ, and makes the
/// process the leader of a process group of its own, so that the agent can signal the job
/// and its children together. Undoes what a careless parent leaves behind: an ignored
/// SIGCHLD, which would hide how a child ended, and blocked signals.
void setSignalHandlers();

/// The handler: sets the flag for SIGTERM and SIGINT; any other signal is ignored.
extern "C" void unxInterruptHandler(int signalNumber);

/// Traces the signal that the handler has seen, once; nothing if there was none. A handler
/// itself must not trace: the line would wait for a lock that its own thread may hold.
void traceCaughtSignal();
