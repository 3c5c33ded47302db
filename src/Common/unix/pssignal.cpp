#include "Common/unix/pssignal.h"

#include <csignal>
#include <unistd.h>

#include "common/ut/TraceScope.h"

std::atomic<bool> agentStop{false};

namespace {

std::atomic<int> caughtSignal{0};  // not traced yet; 0 for none

void setAction(int signalNumber, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int blocked : {SIGTERM, SIGPIPE, SIGHUP})
        sigaddset(&action.sa_mask, blocked);
    sigaction(signalNumber, &action, nullptr);
}

}  // namespace

void unxInterruptHandler(int signalNumber) {
    if (signalNumber != SIGTERM && signalNumber != SIGINT)
        return;
    caughtSignal = signalNumber;
    agentStop = true;
}

void setSignalHandlers() {
    TraceScope scope("setSignalHandlers");
    setAction(SIGTERM, unxInterruptHandler);
    for (const int ignored : {SIGPIPE, SIGHUP, SIGXFSZ})  // the write fails instead
        setAction(ignored, SIG_IGN);
    setAction(SIGCHLD, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);

    setpgid(0, 0);  // fails for the leader of a session, which leads its group already
}

void traceCaughtSignal() {
    TraceScope scope("traceCaughtSignal");
    const int signalNumber = caughtSignal.exchange(0);
    if (signalNumber != 0)
        trTrace(naMin, "Caught signal %d\n", signalNumber);
}
