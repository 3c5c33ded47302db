#pragma once

#include "Scan/SSummaryHist.h"

class GenericPrint;

/// Totals of one statistic on one file system.
class SSummary : public SSummaryHist {
public:
    SSummary() noexcept : SSummaryHist("SSummary") {}

    static void printHeader(GenericPrint& out);
    void printData(GenericPrint& out) const;

    template <class Self, class Pack>
    static void fields(Self& self, Pack& pack) {
        SSummaryHist::fields(self, pack);
        pack(self.sumDirectoryCount);
    }

    std::int64_t sumDirectoryCount = 0;
};
