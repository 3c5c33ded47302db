#pragma once

#include "Scan/TimeDistAccum.h"

/// By the time of the last access.
class AccessedDistAccum : public TimeDistAccum {
public:
    explicit AccessedDistAccum(STimeDist* record) noexcept
        : TimeDistAccum("AccessedDistAccum", record) {}

    [[nodiscard]] std::int64_t time(FileAttributes* pInfo) const override;
};
