#pragma once

#include <cstdint>

#include "Common/Object.h"

/// Base of records of which a server keeps a history. The job fills and writes none of it.
class History : public Object {
public:
    std::int64_t hsStatisticTime = 0;
    std::int16_t hsAccumCount = 0;
    std::int16_t hsStatisticType = 0;

protected:
    explicit History(const char* name) noexcept : Object(name) {}
};
