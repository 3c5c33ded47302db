#pragma once

#include "Scan/TimeDistAccum.h"

/// By the time of creation, which Windows alone tells.
class CreatedDistAccum : public TimeDistAccum {
public:
    explicit CreatedDistAccum(STimeDist* record) noexcept
        : TimeDistAccum("CreatedDistAccum", record) {}

    [[nodiscard]] std::int64_t time(FileAttributes* pInfo) const override;
};
