#pragma once

#include <cstddef>
#include <pthread.h>

/// Threads of the platform layer.

/// The identity of a thread: pthread_self(); 0 for none.
using psThreadId = pthread_t;

/// What a thread is made from, and what came of it.
struct psThreadRecord {
    psThreadId thread = 0;                       // set by psThreadCreate()
    const pthread_attr_t* attributes = nullptr;  // not owned; null for a detached thread
    void* (*start)(void*) = nullptr;
    void* argument = nullptr;   // not owned, of `start`
    const char* name = "";      // a string literal, for the trace
    bool detached = false;      // set by psThreadCreate()
    std::size_t stackSize = 0;  // bytes, 0 for the default; used without attributes only
};

/// Starts a thread, which gets no signals: 0 or the error. It is counted until it ends, also by
/// cancellation.
[[nodiscard]] int psThreadCreate(psThreadRecord& record);

/// 0; 109 without attributes; else the error.
[[nodiscard]] int psSetThreadStackSize(pthread_attr_t* attributes, std::size_t bytes);

/// Sleeps on the calling thread.
void psThreadDelay(unsigned milliseconds);

/// Threads of psThreadCreate() that have not ended.
[[nodiscard]] std::size_t psThreadCount();

[[nodiscard]] inline psThreadId psThreadSelf() noexcept {
    return pthread_self();
}

[[nodiscard]] inline bool psThreadEqual(psThreadId one, psThreadId other) noexcept {
    return pthread_equal(one, other) != 0;
}
