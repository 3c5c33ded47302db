#include "common/thrd/psMutex.h"

#include <atomic>
#include <cerrno>

#include "common/ut/TraceScope.h"

namespace {

std::atomic<bool> inStartPhase{false};
std::atomic<bool> inEndPhase{false};

bool singleThreaded() {
    return inStartPhase || inEndPhase;
}

}  // namespace

int psMutexInit(psMutex& mutex, const pthread_mutexattr_t* attributes) {
    FoundationScope scope("psMutexInit");
    if (attributes)
        return pthread_mutex_init(&mutex.handle, attributes);

    pthread_mutexattr_t checking;
    int rc = pthread_mutexattr_init(&checking);
    if (rc != 0)
        return rc;
    pthread_mutexattr_settype(&checking, PTHREAD_MUTEX_ERRORCHECK);
    rc = pthread_mutex_init(&mutex.handle, &checking);
    pthread_mutexattr_destroy(&checking);
    return rc;
}

int psMutexLock(psMutex& mutex) {
    if (singleThreaded())
        return 0;
    const int rc = pthread_mutex_lock(&mutex.handle);
    if (rc == 0)
        return 0;
    if (rc == EDEADLK) {
        trError("psMutexLock: Deadlock condition\n");
        return PS_DEADLOCK;
    }
    trError("psMutexLock: rc = %d Out of memory\n", rc);
    return PS_LOCK_FAILED;
}

int psMutexUnlock(psMutex& mutex) {
    return singleThreaded() ? 0 : pthread_mutex_unlock(&mutex.handle);
}

int psMutexDestroy(psMutex& mutex) {
    FoundationScope scope("psMutexDestroy");
    return pthread_mutex_destroy(&mutex.handle);
}

void psSetStartPhase(bool single) noexcept {
    inStartPhase = single;
}

void psSetEndPhase(bool single) noexcept {
    inEndPhase = single;
}
