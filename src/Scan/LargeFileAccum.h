#pragma once

#include "Scan/FileAccum.h"

/// The largest files.
class LargeFileAccum : public FileAccum {
public:
    explicit LargeFileAccum(std::int32_t length) : FileAccum("LargeFileAccum", length) {}

    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

private:
    void setResults(CuStatResults* results, SFileList list) override;
};
