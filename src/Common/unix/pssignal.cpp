#include "Common/unix/pssignal.h"

#include <unistd.h>

#include "common/ut/TraceScope.h"

volatile std::sig_atomic_t agentStop = 0;

void unxInterruptHandler(int signalNumber) {
    if (signalNumber == SIGTERM || signalNumber == SIGINT)
        agentStop = 1;
}

void setSignalHandlers() {
    TraceScope scope("setSignalHandlers");
    struct sigaction stop {};
    stop.sa_handler = unxInterruptHandler;
    sigemptyset(&stop.sa_mask);
    sigaddset(&stop.sa_mask, SIGTERM);
    sigaddset(&stop.sa_mask, SIGPIPE);
    sigaddset(&stop.sa_mask, SIGHUP);
    sigaction(SIGTERM, &stop, nullptr);

    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    sigaction(SIGPIPE, &ignore, nullptr);
    sigaction(SIGHUP, &ignore, nullptr);
    sigaction(SIGXFSZ, &ignore, nullptr);  // the write fails instead

    setpgid(0, 0);
}
