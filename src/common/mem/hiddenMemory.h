#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define POOL_HIDES_MEMORY
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define POOL_HIDES_MEMORY
#endif
#endif

/// The payload of free blocks is hidden: where a build has the address sanitizer, it catches
/// a program that touches one. Other builds do nothing here.

#ifdef POOL_HIDES_MEMORY

#include <sanitizer/asan_interface.h>

inline void hideMemory(const std::byte* place, std::size_t bytes) noexcept {
    __asan_poison_memory_region(place, bytes);
}
inline void showMemory(const std::byte* place, std::size_t bytes) noexcept {
    __asan_unpoison_memory_region(place, bytes);
}
inline bool isHidden(std::byte* place, std::size_t bytes) noexcept {
    return __asan_region_is_poisoned(place, bytes) != nullptr;
}

#else

inline void hideMemory(const std::byte* /*place*/, std::size_t /*bytes*/) noexcept {}
inline void showMemory(const std::byte* /*place*/, std::size_t /*bytes*/) noexcept {}
inline bool isHidden(const std::byte* /*place*/, std::size_t /*bytes*/) noexcept {
    return false;
}

#endif

/// Shows memory to the pool itself while it lives; what was hidden is hidden again.
class ShownMemory {
public:
    ShownMemory(std::byte* start, std::size_t length) noexcept
        : place(start), bytes(length), wasHidden(isHidden(start, length)) {
        if (wasHidden)
            showMemory(place, bytes);
    }
    ~ShownMemory() {
        if (wasHidden)
            hideMemory(place, bytes);
    }
    ShownMemory(const ShownMemory&) = delete;
    ShownMemory& operator=(const ShownMemory&) = delete;

private:
    std::byte* const place;
    const std::size_t bytes;
    const bool wasHidden;
};
