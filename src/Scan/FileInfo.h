#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Scan/unix/EntryStat.h"

class DirectoryStream;
class Scanner;

/// The work record of one stat call, on the stack of its caller, and what filters read.
struct FileInfo {
    Scanner* scanner = nullptr;  // not owned
    /// Not owned; holds the entry. Null for a root that did not open.
    DirectoryStream* stream = nullptr;
    const char* entryName = "";  // not owned; in the stream, "" for the directory itself
    std::int32_t faType = 0;     // EntryType
    std::int32_t scanTime = 0;   // start of the walk, seconds since the epoch
    const char* name = nullptr;  // not owned; full path as reported
    std::size_t nameLength = 0;
    EntryStat stat;                // access time raised, blocks of special files 0
    std::uint32_t attributes = 0;  // FileFlag, in the place of the mode
    std::string_view ownerName;    // at most 32 characters
    std::string_view groupName;    // at most 16 characters
};
