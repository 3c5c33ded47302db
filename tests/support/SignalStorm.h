#pragma once

#include <csignal>
#include <sys/time.h>

/// While it lives the process gets SIGALRM every 200 microseconds, which interrupts the calls
/// of whatever thread takes it: no SA_RESTART.
class SignalStorm {
public:
    SignalStorm() {
        struct sigaction ignore {};
        ignore.sa_handler = [](int) {};
        sigaction(SIGALRM, &ignore, &before);
        set(200);
    }
    ~SignalStorm() {
        set(0);
        sigaction(SIGALRM, &before, nullptr);
    }
    SignalStorm(const SignalStorm&) = delete;
    SignalStorm& operator=(const SignalStorm&) = delete;

private:
    static void set(long microseconds) {
        const struct itimerval timer = {
            {0, microseconds},
            {0, microseconds}
        };
        setitimer(ITIMER_REAL, &timer, nullptr);
    }

    struct sigaction before {};
};
