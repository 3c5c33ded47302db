#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "common/mem/lastReserve.h"

// The replacements of the whole program, with which a part of it can use the last reserve.
// Those for arrays and for std::nothrow come here too.

void* operator new(std::size_t size) {
    for (;;) {
        if (void* const memory = std::malloc(std::max<std::size_t>(size, 1)))
            return memory;
        if (void* const kept = takeFromReserve(size))
            return kept;
        const std::new_handler handler = std::get_new_handler();
        if (!handler)
            throw std::bad_alloc();
        handler();
    }
}

void operator delete(void* memory) noexcept {
    if (!giveToReserve(memory))
        std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    operator delete(memory);
}
