#pragma once

#include "Scan/FileAccum.h"

/// The largest files of owners that the host does not know.
class LargestOrphansAccum : public FileAccum {
public:
    explicit LargestOrphansAccum(std::int32_t length)
        : FileAccum("LargestOrphansAccum", length) {}

    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

private:
    void setResults(CuStatResults* results, SFileList list) override;
};
