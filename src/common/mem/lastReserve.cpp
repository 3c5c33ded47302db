#include "common/mem/lastReserve.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <mutex>

namespace {

constexpr std::size_t kReserve = std::size_t{1} << 20U;  // bytes
constexpr std::size_t kUnit = alignof(std::max_align_t);

/// Blocks one behind the other. Space comes back from the end, and all of it when the last
/// block is freed: what uses the reserve frees in about the order in which it took.
class Reserve {
public:
    void* take(std::size_t size) noexcept {
        const std::lock_guard<std::mutex> lock(mutex);
        const std::size_t need = (std::max<std::size_t>(size, 1) + kUnit - 1) / kUnit * kUnit;
        if (need < size || need > bytes.size() - used)
            return nullptr;
        void* const block = &bytes[used];
        last = used;
        used += need;
        ++blocks;
        return block;
    }

    [[nodiscard]] bool holds(const void* block) const noexcept {
        const std::less<const void*> below;
        return !below(block, bytes.data()) && below(block, bytes.data() + bytes.size());
    }

    void free(const void* block) noexcept {
        const std::lock_guard<std::mutex> lock(mutex);
        if (--blocks == 0)
            used = 0;
        else if (block == &bytes[last])
            used = last;
    }

private:
    std::mutex mutex;
    std::size_t used = 0;    // bytes
    std::size_t last = 0;    // offset of the block taken last
    std::size_t blocks = 0;  // not freed
    alignas(kUnit) std::array<std::byte, kReserve> bytes{};
};

constinit Reserve reserve;
constinit thread_local int users = 0;  // ReserveUse objects of this thread

}  // namespace

ReserveUse::ReserveUse() noexcept {
    ++users;
}

ReserveUse::~ReserveUse() {
    --users;
}

void* takeFromReserve(std::size_t size) noexcept {
    return users > 0 ? reserve.take(size) : nullptr;
}

bool giveToReserve(const void* memory) noexcept {
    if (!memory || !reserve.holds(memory))
        return false;
    reserve.free(memory);
    return true;
}
