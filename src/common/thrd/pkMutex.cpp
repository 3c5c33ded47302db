#include "common/thrd/pkMutex.h"

#include <cerrno>
#include <new>

#include "common/ut/TraceScope.h"

pkMutex* pkCreateMutex() {
    FoundationScope scope("pkCreateMutex");
    std::unique_ptr<pkMutex> created(new (std::nothrow) pkMutex{});
    if (!created)
        return nullptr;
    const int rc = psMutexInit(created->mutex);
    if (rc != 0) {
        trError("Create Mutex failed: %d.\n", rc);
        return nullptr;
    }
    return created.release();
}

int pkDestroyMutex(pkMutex* handle) {
    FoundationScope scope("pkDestroyMutex");
    if (!handle)
        return 0;
    const int rc = handle->owner != 0 ? EBUSY : psMutexDestroy(handle->mutex);
    if (rc != 0) {
        trError("Destroy Mutex failed: %d.\n", rc);
        return rc;
    }
    delete handle;
    return 0;
}

int pkAcquireMutex(pkMutex* handle) {
    const psThreadId self = psThreadSelf();
    if (psThreadEqual(handle->owner, self)) {
        ++handle->count;
        return 0;
    }
    const int rc = pkAcquireMutexPlain(handle);
    if (rc != 0)
        return rc;
    handle->count = 1;
    handle->owner = self;
    return 0;
}

int pkReleaseMutex(pkMutex* handle) {
    if (!psThreadEqual(handle->owner, psThreadSelf()))
        return 0;
    if (--handle->count > 0)
        return 0;
    handle->owner = 0;
    return pkReleaseMutexPlain(handle);
}

int pkAcquireMutexPlain(pkMutex* handle) {
    const int rc = psMutexLock(handle->mutex);
    if (rc != 0)
        trError("Acquire Mutex failed.\n");
    return rc;
}

int pkReleaseMutexPlain(pkMutex* handle) {
    const int rc = psMutexUnlock(handle->mutex);
    if (rc != 0)
        trError("Release Mutex failed: %d.\n", rc);
    return rc;
}
