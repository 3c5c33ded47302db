#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "Scan/unix/DirectoryStream.h"

struct AheadBlock;
struct AheadDirectory;

/// Something to be read: the attributes of a block; without a block the names of the
/// directory, which is opened first if it is not open.
struct AheadTask {
    std::shared_ptr<AheadDirectory> directory;
    std::shared_ptr<AheadBlock> block;
};
using AheadTasks = std::list<AheadTask>;

/// What reading ahead knows of an entry.
struct AheadEntry {
    std::uint32_t name = 0;  // offset in the names of its block
    int rc = 0;              // of its attributes
    EntryStat stat;
    std::shared_ptr<AheadDirectory> child;  // null unless it is a directory of this walk
};

/// Some entries of a directory, in the order of the directory. Whoever has claimed it, one
/// thread, fills in the attributes; the scan thread takes it when it is ready.
struct AheadBlock {
    enum State { UNCLAIMED, CLAIMED, READY };

    State state = UNCLAIMED;
    bool isLeft = false;        // to the scan thread: who read ahead lacked something for it
    AheadTasks::iterator task;  // until READY
    std::vector<AheadEntry> entries;
    std::string names;  // each with a closing zero byte

    [[nodiscard]] const char* nameOf(const AheadEntry& entry) const {
        return names.c_str() + entry.name;
    }

    /// Bytes that the block can come to take, with the directories among its entries.
    [[nodiscard]] std::size_t bytes() const;
};

/// A directory of a walk from the moment it is known. All is guarded by the lock of
/// ReadAhead, except that the thread which has claimed it reads names from `stream`.
struct AheadDirectory : std::enable_shared_from_this<AheadDirectory> {
    enum State {
        WAITING,  // not open yet
        CLAIMED,  // a thread opens it or reads names
        PAUSED,   // open, with more names to read
        LISTED    // no more names
    };

    State state = WAITING;
    bool isLeft = false;        // as of a block
    AheadTasks::iterator task;  // until LISTED
    bool cancelled = false;     // nobody will ask for it; what is unclaimed is no task any more
    int depth = 0;              // of the root 0
    std::string name;
    std::size_t prefixLength = 0;             // characters of its reported path, with a "/"
    std::shared_ptr<DirectoryStream> parent;  // until it is open
    /// Null until then, and again when names and attributes are read; the root's stays.
    std::shared_ptr<DirectoryStream> stream;
    bool opened = false;  // or failed to, see openRc
    int openRc = 0;
    std::size_t unread = 0;                         // blocks whose attributes are not read yet
    int readRc = 0;                                 // what ended the names
    std::list<std::shared_ptr<AheadBlock>> blocks;  // not taken yet
};
