#pragma once

#include "Scan/TimeDistAccum.h"

/// By the time of the last modification.
class ModifiedDistAccum : public TimeDistAccum {
public:
    explicit ModifiedDistAccum(STimeDist* record) noexcept
        : TimeDistAccum("ModifiedDistAccum", record) {}

    [[nodiscard]] std::int64_t time(FileAttributes* pInfo) const override;
};
