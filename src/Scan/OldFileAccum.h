#pragma once

#include "Scan/FileAccum.h"

/// The least accessed files.
class OldFileAccum : public FileAccum {
public:
    explicit OldFileAccum(std::int32_t length) : FileAccum("OldFileAccum", length) {}

    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

private:
    void setResults(CuStatResults* results, SFileList list) override;
};
