#pragma once

#include <cstdint>

/// How the memory of the pool is laid out. A segment, from its start:
///
///     0      4  reference of the next segment of the ring
///     4      4  reference of the previous one
///     8  65392  blocks, without gaps
///     65400  8  end mark: a BlockHead of the used magic and the size kEndMark
///
/// A block is its BlockHead, 8 bytes, and its payload. The payload of a free block begins
/// with two references: the next and the previous block of its list. A payload is aligned
/// to 4 bytes, so objects that need more must not live in the pool.
///
/// Links are references of 32 bits and not pointers, since two of them must find room in the
/// smallest payload. Heads and references are only ever copied in and out of that memory:
/// it belongs to whatever the program keeps there.

inline constexpr std::int32_t DS_SEG_SIZE = 65408;  // bytes asked of malloc for a segment
inline constexpr std::int32_t kSegmentPayload = 65392;
inline constexpr std::int32_t kHeadSize = 8;
inline constexpr std::int32_t kLinksSize = 8;
inline constexpr std::int32_t kEndOffset = kLinksSize + kSegmentPayload;
inline constexpr std::int32_t kLargestPayload = kSegmentPayload - kHeadSize;
inline constexpr std::int32_t kMinPayload = kLinksSize;
inline constexpr std::int32_t kMinBlock = kHeadSize + kMinPayload;
inline constexpr std::int32_t kPoolAlignment = 4;

inline constexpr std::uint16_t kUsedMagic = 0x3917;
inline constexpr std::uint16_t kFreeMagic = 0x5386;
inline constexpr std::int32_t kEndMark = INT32_MIN;

struct BlockHead {
    std::uint16_t magic;
    std::uint16_t prevFree;  // size of the block before this one if that is free, else 0
    std::int32_t bSize;      // of a free block; negated of one in use; 0 of a direct block

    [[nodiscard]] bool isFree() const noexcept { return magic == kFreeMagic && bSize > 0; }
    [[nodiscard]] bool isDirect() const noexcept { return magic == kUsedMagic && bSize == 0; }
    [[nodiscard]] bool isUsed() const noexcept {
        return magic == kUsedMagic && bSize < 0 && bSize != kEndMark;
    }

    /// The size of the block, head included, as far as it can be one.
    [[nodiscard]] std::int32_t size() const noexcept {
        if (bSize == kEndMark)
            return 0;
        return bSize < 0 ? -bSize : bSize;
    }
};
static_assert(sizeof(BlockHead) == kHeadSize);

/// A place in a segment: the number of the segment and a quarter of the offset. Segment 0
/// is the static area of the list heads, and the empty reference is none of its blocks.
struct BlockRef {
    std::uint32_t value = 0;

    static constexpr unsigned kOffsetBits = 14;
    static constexpr std::uint32_t kLastNumber = UINT32_MAX >> kOffsetBits;

    static constexpr BlockRef of(std::uint32_t number, std::int32_t offset) noexcept {
        return {(number << kOffsetBits) |
                (static_cast<std::uint32_t>(offset) / kPoolAlignment)};
    }

    [[nodiscard]] constexpr std::uint32_t number() const noexcept {
        return value >> kOffsetBits;
    }
    [[nodiscard]] constexpr std::int32_t offset() const noexcept {
        return static_cast<std::int32_t>(value & ((1U << kOffsetBits) - 1)) * kPoolAlignment;
    }

    /// The place so many bytes behind this one, or before it.
    [[nodiscard]] constexpr BlockRef plus(std::int32_t bytes) const noexcept {
        return of(number(), offset() + bytes);
    }

    constexpr explicit operator bool() const noexcept { return value != 0; }
    friend constexpr bool operator==(BlockRef, BlockRef) noexcept = default;
};

/// What stands in the payload of a free block, and in a list head.
struct BlockLinks {
    BlockRef nextP;
    BlockRef prevP;
};
static_assert(sizeof(BlockLinks) == kLinksSize);

/// The size of the block for a payload, which is not above kLargestPayload.
[[nodiscard]] constexpr std::int32_t blockSize(long payload) noexcept {
    const auto bytes = static_cast<std::int32_t>(payload);
    const std::int32_t rounded = (bytes + kPoolAlignment - 1) & ~(kPoolAlignment - 1);
    return (rounded < kMinPayload ? kMinPayload : rounded) + kHeadSize;
}
