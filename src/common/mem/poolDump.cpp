#include "common/mem/poolDump.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "common/mem/FreeBins.h"
#include "common/mem/Segments.h"
#include "common/mem/hiddenMemory.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::size_t kBytesPerLine = 16;
constexpr std::size_t kHexWidth = 3;

void dumpLine(const std::byte* place, std::size_t bytes) {
    std::array<char, kBytesPerLine * kHexWidth + 1> hex{};
    std::array<char, kBytesPerLine + 1> text{};
    for (std::size_t i = 0; i < bytes; ++i) {
        const auto value = std::to_integer<unsigned>(place[i]);
        std::snprintf(&hex[i * kHexWidth], kHexWidth + 1, "%02X ", value);
        text[i] = value >= ' ' && value <= '~' ? static_cast<char>(value) : '.';
    }
    trError("%-48s   %s\n", hex.data(), text.data());
}

}  // namespace

void KelBlockDump(std::byte* place, std::size_t bytes) noexcept {
    FoundationScope scope("KelBlockDump");
    const ShownMemory shown(place, bytes);
    std::size_t offset = 0;
    while (offset < bytes) {
        const std::size_t length = std::min(kBytesPerLine, bytes - offset);
        dumpLine(place + offset, length);
        offset += length;

        std::size_t equal = 0;
        while (bytes - offset >= kBytesPerLine && length == kBytesPerLine &&
               std::memcmp(place + offset, place + offset - kBytesPerLine, kBytesPerLine) ==
                   0) {
            ++equal;
            offset += kBytesPerLine;
        }
        if (equal > 0)
            trError(" (%d lines [%d bytes] identical to above line skipped)\n",
                    static_cast<int>(equal), static_cast<int>(equal * kBytesPerLine));
    }
}

void KelSegDump(const Segments& segments, const FreeBins& bins, std::uint32_t number) noexcept {
    FoundationScope scope("KelSegDump");
    segments.forEachBlock(number, [&](BlockRef block, const BlockHead& head) {
        const void* const place = segments.at(block);
        std::byte* const payload = segments.payload(block);
        const long size = head.size();
        if (head.isFree()) {
            const bool linked = Segments::isSize(block, head.bSize) && bins.isLinked(block);
            trError("\t\tFree block at %p(%p): size %6ld bytes.%s\n", place,
                    static_cast<const void*>(payload), size,
                    linked ? "" : "  (Bad free list links)");
            return;
        }
        trError("\t\tUsed block at %p(%p): size %6ld bytes.%s\n", place,
                static_cast<const void*>(payload), size,
                head.isUsed() ? "" : "  (Magic value overwritten)");
        if (Segments::isSize(block, head.size()))
            KelBlockDump(payload, static_cast<std::size_t>(size - kHeadSize));
    });
}
