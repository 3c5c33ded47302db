#include "common/mem/keMalloc.h"

#include "common/mem/PoolCheck.h"
#include "common/thrd/pkMutex.h"
#include "common/ut/TraceScope.h"
#include "common/ut/traceClasses.h"

namespace {

// In static memory: the pool is there before main() and after it.
constinit Pool pool{};

/// Recursive, since a failure handler may free what the program can do without.
constinit pkMutex poolMutex{{PTHREAD_MUTEX_INITIALIZER}, 0, 0};

const char* nameOf(const char* file) noexcept {
    return file ? file : "?";
}

/// Holds the lock during a call, with a pool that is ready, and checks the pool at its end
/// if that is wanted.
class PoolCall {
public:
    PoolCall() noexcept : lock(&poolMutex) {
        if (lock.held())
            pool.setUp();
    }
    ~PoolCall() {
        if (lock.held() && trMemdetail != 0)
            static_cast<void>(PoolCheck(pool).run());
    }
    PoolCall(const PoolCall&) = delete;
    PoolCall& operator=(const PoolCall&) = delete;

    [[nodiscard]] bool canWork() const noexcept { return lock.held(); }

private:
    const pkMutexHolder lock;
};

}  // namespace

void KelPoolSetUp() noexcept {
    FoundationScope scope("KelPoolSetUp");
    const pkMutexHolder lock(&poolMutex);
    if (lock.held())
        pool.setUp();
}

void KelPoolEnd() noexcept {
    FoundationScope scope("KelPoolEnd");
    const pkMutexHolder lock(&poolMutex);
    if (lock.held())
        pool.end();
}

void* keMalloc(long size, const char* file, int line) noexcept {
    FoundationScope scope("keMalloc");
    const PoolCall call;
    if (size <= 0) {
        trError("Wrong Alloc call: Size %ld File %s Line %d\n", size, nameOf(file), line);
        return nullptr;
    }
    void* const payload = call.canWork() ? pool.KelBlockAlloc(size) : nullptr;
    if (!payload)
        trError("Alloc failed: Size %ld File %s Line %d\n", size, nameOf(file), line);
    else
        trTrace(trMemory, "KELMEM(+) Addr %p Size %ld File %s Line %d\n", payload, size,
                nameOf(file), line);
    return payload;
}

void* keCalloc(long size, long count, const char* file, int line) noexcept {
    FoundationScope scope("keCalloc");
    const PoolCall call;
    long bytes = 0;
    if (size <= 0 || count <= 0 || __builtin_mul_overflow(size, count, &bytes)) {
        trError("Wrong Calloc call: Size %ld Count %ld File %s Line %d\n", size, count,
                nameOf(file), line);
        return nullptr;
    }
    void* const payload = call.canWork() ? pool.KelBlock0Alloc(bytes) : nullptr;
    if (!payload)
        trError("Calloc failed: Size %ld File %s Line %d\n", bytes, nameOf(file), line);
    else
        trTrace(trMemory, "KELMEM(c+) Addr %p Size %ld Count %ld File %s Line %d\n", payload,
                size, count, nameOf(file), line);
    return payload;
}

void* keRealloc(void* pointer, long size, const char* file, int line) noexcept {
    FoundationScope scope("keRealloc");
    const PoolCall call;
    if (size <= 0) {
        trError("Wrong Realloc call: Size %ld File %s Line %d\n", size, nameOf(file), line);
        return nullptr;
    }
    if (!call.canWork())
        return nullptr;
    switch (pool.validate(pointer)) {
        case Pool::Pointer::InUse:
            break;
        case Pool::Pointer::Free:
            trError("Attempt to realloc free pointer. Addr %p, File %s, Line %d\n", pointer,
                    nameOf(file), line);
            return nullptr;
        case Pool::Pointer::Unknown:
            trError("Attempt to realloc unknown pointer. Addr %p, File %s, Line %d\n", pointer,
                    nameOf(file), line);
            return nullptr;
    }
    void* const moved = pool.KelBlockRealloc(pointer, size);
    if (!moved)
        trError("Realloc failed: Old addr %p New Size %ld File %s Line %d\n", pointer, size,
                nameOf(file), line);
    else
        trTrace(trMemory, "KELMEM(r+) naddr %p oaddr %p nsize %ld File %s Line %d\n", moved,
                pointer, size, nameOf(file), line);
    return moved;
}

void keFree(void* pointer, const char* file, int line) noexcept {
    FoundationScope scope("keFree");
    const PoolCall call;
    if (!pointer) {
        trError("Attempt to free NULL pointer. File %s Line %d\n", nameOf(file), line);
        return;
    }
    if (!call.canWork())
        return;
    switch (pool.validate(pointer)) {
        case Pool::Pointer::InUse:
            pool.KelBlockFree(pointer);
            trTrace(trMemory, "KELMEM(-) Addr %p File %s Line %d\n", pointer, nameOf(file),
                    line);
            break;
        case Pool::Pointer::Free:
            trError("Attempt to free pointer to a free block. Addr %p, File %s, Line %d\n",
                    pointer, nameOf(file), line);
            break;
        case Pool::Pointer::Unknown:
            trError("Attempt to free unknown pointer. Addr %p, File %s, Line %d\n", pointer,
                    nameOf(file), line);
            break;
    }
}

int KelPoolCheck() noexcept {
    FoundationScope scope("KelPoolCheck");
    const pkMutexHolder lock(&poolMutex);
    if (!lock.held())
        return PS_LOCK_FAILED;
    pool.setUp();
    return PoolCheck(pool).run();
}

void setFailureHandler(FailureHandler handler, void (*release)()) noexcept {
    FoundationScope scope("setFailureHandler");
    const pkMutexHolder lock(&poolMutex);
    if (lock.held())
        pool.setFailureHandler(handler, release);
}

PoolStatistics KelPoolStatistics() noexcept {
    FoundationScope scope("KelPoolStatistics");
    const pkMutexHolder lock(&poolMutex);
    return lock.held() ? pool.statistics() : PoolStatistics{};
}
