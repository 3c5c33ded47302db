#pragma once

#include <cstdint>
#include <memory>

#include "Scan/Accumulator.h"
#include "Scan/OwnerTable.h"

class Filesystem;

/// Who uses the space: a record for every owner, or every group, that has an entry.
class UserOrGroupAccum : public Accumulator {
public:
    enum Kind : std::int32_t { OWNERS = 0, GROUPS = 1 };

    /// `pFilesystem` is where the walk is; it must outlive this object.
    UserOrGroupAccum(Kind kind, const Filesystem* pFilesystem);

    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

    /// Hands the table over; without an entry the results get none.
    void finish(CuStatResults* results) override;

private:
    const Filesystem* const filesystem;   // not owned
    std::unique_ptr<OwnerTable> members;  // until finish()
    const Kind isGroup;
};
