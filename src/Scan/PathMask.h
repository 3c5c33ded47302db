#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The mask language in which filters and monitored directories name paths and owners:
///
///     *      any run of bytes within one path component
///     ?      one byte that is not "/"
///     [...]  a set of bytes, negated by a leading "!"; it never holds "/"
///     %/     any number of whole components, where it is a component of its own
///     /      the separator; a backslash is the same
///     &      the escape: the next byte, another "&" too, stands for itself; in a set it
///            makes a pair of both, and "&&" there is a backslash
///
/// A mask becomes a POSIX basic regular expression, which MaskMatcher compiles.

// The pieces that stand for "*" and "?", and for "%/" before other components and at the end.
inline constexpr std::string_view kComponentByte = "[^/]";
inline constexpr std::string_view kAnyComponents = R"(\([^/]*/\)*)";
inline constexpr std::string_view kAnythingBelow = R"(\(/[^/]*\)*)";

/// The expression of a mask; empty if every text matches. `form` says what to match:
/// 0 the whole path, above 0 the path from the level of the walk that the filter was
/// compiled for, -n the last n components.
[[nodiscard]] std::string maskToRegex(std::string mask, std::int32_t& form);
