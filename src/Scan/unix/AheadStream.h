#pragma once

#include <memory>

#include "Scan/unix/AheadDirectory.h"
#include "Scan/unix/DirectoryStream.h"

class ReadAhead;

/// An open directory whose entries are read ahead. Scan thread only.
class AheadStream : public DirectoryStream {
public:
    AheadStream(std::shared_ptr<ReadAhead> share,
                std::shared_ptr<AheadDirectory> known) noexcept;
    ~AheadStream() override;
    AheadStream(const AheadStream&) = delete;
    AheadStream& operator=(const AheadStream&) = delete;

    [[nodiscard]] int next(const char*& name) override;
    [[nodiscard]] int attributes(const char* name, EntryStat& result) override;
    [[nodiscard]] int open(const char* name, const WalkPlace& place,
                           std::unique_ptr<DirectoryStream>& child) override;
    [[nodiscard]] bool deviceTells() override;

private:
    [[nodiscard]] AheadEntry* current(const char* name);
    void dropBlock();

    const std::shared_ptr<ReadAhead> ahead;  // with the other streams of the walk
    const std::shared_ptr<AheadDirectory> directory;
    std::shared_ptr<AheadBlock> block;  // at hand; null before the first
    std::size_t index = 0;              // of the entry at hand
};
