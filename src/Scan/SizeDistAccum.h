#pragma once

#include "Scan/Accumulator.h"

class SSizeDist;

/// Counts every entry in its size range.
class SizeDistAccum : public Accumulator {
public:
    /// `record` belongs to the results, which outlive this object.
    explicit SizeDistAccum(SSizeDist* record) noexcept
        : Accumulator("SizeDistAccum"), target(record) {}

    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
    void finish(CuStatResults* results) override;

private:
    SSizeDist* const target;  // not owned
};
