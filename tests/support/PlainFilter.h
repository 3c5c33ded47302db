#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// What a filter reads of an entry.
struct PlainEntry {
    std::string root = "/";  // of the walk; ends in "/"
    std::string path;        // below it
    std::int32_t type = 0;
    std::uint32_t attributes = 0;
    std::int64_t size = 0;
    std::int64_t blocks = 0;
    std::int64_t accessed = 0;
    std::int64_t modified = 0;
    std::string owner;
    std::string group;
};

/// A second reading of clauses and masks, straight from what their languages mean and as
/// plain as can be: it reads the clause anew for every entry. Nothing if it cannot be read;
/// sets in masks must be valid, without escapes, and not end in "-".
std::optional<bool> selectsPlainly(const std::string& clause, std::int32_t level,
                                   std::int32_t scanTime, const PlainEntry& entry);
