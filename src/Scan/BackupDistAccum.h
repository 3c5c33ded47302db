#pragma once

#include "Scan/TimeDistAccum.h"

/// By the time of modification of files that were changed since their backup. No file of
/// this platform tells so.
class BackupDistAccum : public TimeDistAccum {
public:
    explicit BackupDistAccum(STimeDist* record) noexcept
        : TimeDistAccum("BackupDistAccum", record) {}

    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
    [[nodiscard]] std::int64_t time(FileAttributes* pInfo) const override;
};
