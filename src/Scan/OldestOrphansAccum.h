#pragma once

#include "Scan/FileAccum.h"

/// The least accessed files of owners that the host does not know.
class OldestOrphansAccum : public FileAccum {
public:
    explicit OldestOrphansAccum(std::int32_t length)
        : FileAccum("OldestOrphansAccum", length) {}

    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

private:
    void setResults(CuStatResults* results, SFileList list) override;
};
