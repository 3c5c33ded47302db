#include "common/mem/SizeIndex.h"

#include <bit>

std::int32_t SizeIndex::next(std::int32_t size, std::int32_t last) const noexcept {
    std::size_t word = slot(size) / kBits;
    const std::size_t lastWord = slot(last) / kBits;
    std::uint64_t found = words[word] & ~(bit(slot(size)) - 1);
    while (found == 0 && word < lastWord)
        found = words[++word];
    if (found == 0)
        return 0;
    const std::size_t foundSlot =
        word * kBits + static_cast<std::size_t>(std::countr_zero(found));
    return foundSlot <= slot(last) ? static_cast<std::int32_t>(foundSlot) * kPoolAlignment : 0;
}
