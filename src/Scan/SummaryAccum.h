#pragma once

#include "Scan/Accumulator.h"

class SSummary;

/// Counts files, directories and space into one record.
class SummaryAccum : public Accumulator {
public:
    /// `record` belongs to the results, which outlive this object.
    explicit SummaryAccum(SSummary* record) noexcept
        : Accumulator("SummaryAccum"), summary(record) {}

    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
    void finish(CuStatResults* results) override;

private:
    SSummary* summary;  // not owned
};
