#pragma once

#include <cstdint>
#include <string>

#include "Common/EntityToObjectMapper.h"

class GenericPrint;
class UserOrGroup;

/// What an entry is.
enum EntryType : std::int32_t {
    FA_UNKNOWN = 0,
    FA_FILE = 1,
    FA_LINK = 2,  // symbolic links are never followed
    FA_DIRECTORY = 3,
    FA_PIPE = 4,
    FA_SOCKET = 5,
    FA_DEVICE = 6,
    FA_ELSEWHERE = 7,  // on another device, or its attributes could not be read
};

/// Bits of FileAttributes::faAttributes.
enum FileFlag : std::uint32_t {
    FA_SET_USER = 0x400000,
    FA_SET_GROUP = 0x200000,
    FA_STICKY = 0x100000,
    FA_EXECUTABLE = 0x80000,  // a regular file with any execute bit
    FA_BLOCK_DEVICE = 0x40000,
    FA_ORPHAN = 0x20000,  // the host does not know the owner's number
    FA_ARCHIVE = 0x20,    // changed since it was backed up; no file of this platform has it
};

/// The entry at hand, as all statistics see it. The walker owns one and uses it again for
/// every entry: whoever keeps something copies it.
class FileAttributes : public Object {
public:
    FileAttributes() noexcept : Object("FileAttributes") {}

    /// True for what rankings and file counts hold: regular files and symbolic links.
    [[nodiscard]] bool isFileOrLink() const { return faType == FA_FILE || faType == FA_LINK; }

    /// The ten columns that the records of files and directories begin with.
    [[nodiscard]] static Row columnNames();
    [[nodiscard]] Row columnValues() const;

    /// Writes owner and group, each as an entity; what is not known is left out.
    void printIdentities(GenericPrint& out) const;

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        pack(self.faCreated, self.faModified, self.faAccessed, self.faBlocks, self.faLength,
             self.faAttributes, self.faType, self.faName, self.faOwner, self.faGroup,
             self.faLinkCount, self.faInodeNumber);
    }

    std::int64_t faCreated = 0;      // milliseconds since the epoch; stays 0 on this platform
    std::int64_t faModified = 0;     // milliseconds since the epoch
    std::int64_t faAccessed = 0;     // milliseconds since the epoch, not before faModified
    std::int64_t faBlocks = 0;       // of 512 bytes; 0 for types above directories
    std::int64_t faLength = 0;       // bytes
    std::uint32_t faAttributes = 0;  // FileFlag
    std::int32_t faType = FA_UNKNOWN;
    std::string faName;                    // the full path
    const UserOrGroup* faOwner = nullptr;  // not owned; valid during the scan
    const UserOrGroup* faGroup = nullptr;  // not owned; valid during the scan
    std::int32_t faLinkCount = 0;          // 1 for a directory
    std::int64_t faInodeNumber = 0;

protected:
    explicit FileAttributes(const char* name) noexcept : Object(name) {}
    FileAttributes(const char* name, const FileAttributes& values) : Object(name) {
        *this = values;
    }
};
