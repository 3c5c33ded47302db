#pragma once

#include <cstdint>
#include <memory>

#include "Common/Object.h"
#include "Scan/SSummary.h"

class GenericPrint;

/// What one statistic found in one place. Filled during the walk and when it ends.
class CuStatResults : public Object {
public:
    CuStatResults() noexcept : Object("CuStatResults") {}

    static void printHeader(GenericPrint& out);

    /// Writes the entity with every record that is there.
    void printData(GenericPrint& out) const;

    CuStatResults* nextResults = nullptr;  // owned by the list's holder
    std::int32_t srID = 0;                 // of the statistic
    std::unique_ptr<SSummary> srSummary;   // may be null
};
