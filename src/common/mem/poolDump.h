#pragma once

#include <cstddef>
#include <cstdint>

class FreeBins;
class Segments;

/// Memory of the pool as text, in the trace: for a look at what overwrote it. Programs that
/// write to their blocks meanwhile must be stopped or locked out.

/// So many bytes, 16 on a line, also as text; equal lines are told by their number.
void KelBlockDump(std::byte* place, std::size_t bytes) noexcept;

/// All blocks of a segment as far as they can be followed, those in use with their bytes.
void KelSegDump(const Segments& segments, const FreeBins& bins, std::uint32_t number) noexcept;
