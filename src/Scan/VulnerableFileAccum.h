#pragma once

#include "Scan/FileAccum.h"

/// The files that have been without a backup for the longest time. Empty on this platform,
/// where no file tells that it was changed since its backup.
class VulnerableFileAccum : public FileAccum {
public:
    explicit VulnerableFileAccum(std::int32_t length)
        : FileAccum("VulnerableFileAccum", length) {}

    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

private:
    void setResults(CuStatResults* results, SFileList list) override;
};
