#include "common/mem/DirectBlocks.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "common/mem/kelAssert.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr long kDirectHeadSize = sizeof(DirectHead);

/// Bytes to ask for; 0 if no number holds them.
long allocationSize(long payload) noexcept {
    if (payload > LONG_MAX - kDirectHeadSize - kPoolAlignment)
        return 0;
    const long rounded = (payload + kPoolAlignment - 1) / kPoolAlignment * kPoolAlignment;
    return rounded + kDirectHeadSize;
}

std::uint32_t lowWord(long size) noexcept {
    return static_cast<std::uint32_t>(size & UINT32_MAX);
}

}  // namespace

void DirectBlocks::setUp() noexcept {
    table.setUp();
    table[0].base = ringEnds.data();
    link(0, 0);
}

DirectHead DirectBlocks::head(std::uint32_t number) const noexcept {
    DirectHead read;
    std::memcpy(&read, table[number].base, sizeof read);
    return read;
}

void DirectBlocks::setHead(std::uint32_t number, const DirectHead& head) noexcept {
    std::memcpy(table[number].base, &head, sizeof head);
}

void DirectBlocks::link(std::uint32_t number, std::uint32_t following) noexcept {
    DirectHead changed = head(number);
    changed.nextP = following;
    setHead(number, changed);
    changed = head(following);
    changed.prevP = number;
    setHead(following, changed);
}

bool DirectBlocks::isLinked(std::uint32_t number) const noexcept {
    const std::uint32_t next = head(number).nextP;
    return table.isUsed(next) && head(next).prevP == number;
}

std::uint32_t DirectBlocks::add(long payloadSize) noexcept {
    FoundationScope scope("DirectBlocks::add");
    const long size = allocationSize(payloadSize);
    const std::uint32_t number = size != 0 ? table.take(UINT32_MAX) : 0;
    if (number == 0)
        return 0;
    auto* const base = static_cast<std::byte*>(std::malloc(static_cast<std::size_t>(size)));
    if (!base) {
        table.giveBack(number);
        return 0;
    }
    table[number] = {base, size, 0};
    setHead(number, {
                        number, lowWord(size), 0, 0, {kUsedMagic, 0, 0}
    });
    const std::uint32_t first = head(0).nextP;
    link(0, number);
    link(number, first);
    maxBlocks = std::max(maxBlocks, ++blockCount);
    return number;
}

bool DirectBlocks::resize(std::uint32_t number, long payloadSize) noexcept {
    FoundationScope scope("DirectBlocks::resize");
    const long size = allocationSize(payloadSize);
    if (size == 0)
        return false;
    void* const moved = std::realloc(table[number].base, static_cast<std::size_t>(size));
    if (!moved)
        return false;
    // Its neighbours know it by its number: their links hold.
    table[number] = {static_cast<std::byte*>(moved), size, 0};
    DirectHead changed = head(number);
    changed.lowSize = lowWord(size);
    setHead(number, changed);
    return true;
}

bool DirectBlocks::remove(std::uint32_t number) noexcept {
    FoundationScope scope("DirectBlocks::remove");
    const DirectHead found = head(number);
    if (!kelAssert(
            isLinked(number) && table.isUsed(found.prevP) && head(found.prevP).nextP == number,
            "((dirBlockP)->nextP->prevP) == dirBlockP"))
        return false;
    link(found.prevP, found.nextP);
    freeBlock(number);
    return true;
}

void DirectBlocks::clear() noexcept {
    FoundationScope scope("DirectBlocks::clear");
    for (std::uint32_t number = 1; number <= table.last(); ++number) {
        if (table.isUsed(number))
            freeBlock(number);
    }
    table.clear();
    maxBlocks = 0;
}

void DirectBlocks::freeBlock(std::uint32_t number) noexcept {
    std::free(table[number].base);
    table.giveBack(number);
    --blockCount;
}

std::uint32_t DirectBlocks::find(const std::byte* payload) const noexcept {
    DirectHead found;
    std::memcpy(&found.block, payload - sizeof found.block, sizeof found.block);
    if (!found.block.isDirect())
        return 0;
    std::memcpy(&found, payload - kDirectHeadSize, sizeof found);
    const bool known = found.number != 0 && table.isUsed(found.number) &&
                       table[found.number].base == payload - kDirectHeadSize;
    return known ? found.number : 0;
}
