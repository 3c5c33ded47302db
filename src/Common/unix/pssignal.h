#pragma once

#include <csignal>

/// Set by the termination signal and never cleared; directory readers look at it before
/// every entry and raise ScanAbortException. Read without a lock from any thread.
extern volatile std::sig_atomic_t agentStop;

/// Lets SIGTERM ask the job to stop, ignores SIGPIPE, SIGHUP and SIGXFSZ, and makes the
/// process the leader of a process group of its own, so that the agent can signal the job
/// and its children together.
void setSignalHandlers();

/// The handler: sets the flag for SIGTERM and SIGINT; any other signal is ignored.
extern "C" void unxInterruptHandler(int signalNumber);
