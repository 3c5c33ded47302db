#pragma once

#include "Scan/SFile.h"

/// A file that is a candidate for migration. The result file announces the type; no scan
/// makes one.
class SFileCandidate : public SFile {
public:
    explicit SFileCandidate(const FileAttributes& file) : SFile("SFileCandidate", file) {}

    static void printHeader(GenericPrint& out);

    std::int32_t sfHSMScore = 0;
};
