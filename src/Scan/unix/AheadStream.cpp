#include "Scan/unix/AheadStream.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "Scan/unix/ReadAhead.h"
#include "common/ut/TraceScope.h"

AheadStream::AheadStream(std::shared_ptr<ReadAhead> share,
                         std::shared_ptr<AheadDirectory> known) noexcept
    : ahead(std::move(share)), directory(std::move(known)) {}

AheadStream::~AheadStream() {
    TraceScope scope("AheadStream::~AheadStream");
    dropBlock();
    ahead->cancel(directory);
}

int AheadStream::next(const char*& name) {
    TraceScope scope("AheadStream::next");
    if (block) {
        // A directory that the walk has not entered by now it never will.
        if (block->entries[index].child)
            ahead->cancel(block->entries[index].child);
        ++index;
    }
    if (!block || index == block->entries.size()) {
        dropBlock();
        block = ahead->take(*directory);
        index = 0;
    }
    name = block ? block->nameOf(block->entries[index]) : nullptr;
    return block ? 0 : std::exchange(directory->readRc, 0);
}

int AheadStream::attributes(const char* name, EntryStat& result) {
    TraceScope scope("AheadStream::attributes");
    const AheadEntry* const entry = current(name);
    if (!entry)
        return directory->stream ? directory->stream->attributes(name, result) : EBADF;
    result = entry->stat;
    return entry->rc;
}

int AheadStream::open(const char* name, const WalkPlace& place,
                      std::unique_ptr<DirectoryStream>& child) {
    TraceScope scope("AheadStream::open");
    AheadEntry* const entry = current(name);
    if (entry && entry->child) {
        // If the directory does not open, nobody will ask for it when the stream goes.
        auto stream = std::make_unique<AheadStream>(ahead, entry->child);
        const std::shared_ptr<AheadDirectory> known = std::exchange(entry->child, nullptr);
        const int rc = ahead->open(*known);
        if (rc == 0)
            child = std::move(stream);
        return rc;
    }
    if (!directory->stream)
        return EBADF;
    std::unique_ptr<DirectoryStream> opened;
    const int rc = directory->stream->open(name, place, opened);
    if (rc == 0)
        child = ahead->adopt(ahead, std::move(opened), directory->depth + 1,
                             directory->prefixLength + std::strlen(name) + 1);
    return rc;
}

bool AheadStream::deviceTells() {
    TraceScope scope("AheadStream::deviceTells");
    return !directory->stream || directory->stream->deviceTells();
}

/// The entry at hand if that is its name; the walk asks for no other by name.
AheadEntry* AheadStream::current(const char* name) {
    if (!block || name[0] == '\0')
        return nullptr;
    AheadEntry& entry = block->entries[index];
    const char* const known = block->nameOf(entry);
    return name == known || std::strcmp(name, known) == 0 ? &entry : nullptr;
}

void AheadStream::dropBlock() {
    if (block)
        ahead->release(*block);
    block.reset();
}
