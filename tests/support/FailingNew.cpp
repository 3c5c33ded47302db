#include "support/FailingNew.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constexpr long kNever = -1;

std::atomic<long> left{kNever};  // allocations before the one that fails
std::atomic<bool> ofOthers{false};
thread_local bool isOwn = false;

bool fails() {
    return left != kNever && isOwn != ofOthers && left-- == 0;
}

}  // namespace

FailingNew::FailingNew(Threads threads, long after) {
    isOwn = true;
    ofOthers = threads == OTHERS;
    left = after;
}

FailingNew::~FailingNew() {
    left = kNever;
    isOwn = false;
}

bool FailingNew::hasFailed() {
    return left < 0;
}

void* operator new(std::size_t size) {
    void* const memory = fails() ? nullptr : std::malloc(size);
    return memory ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return fails() ? nullptr : std::malloc(size);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
