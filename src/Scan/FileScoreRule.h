#pragma once

#include <cstdint>
#include <string>

#include "Common/EntityToObjectMapper.h"

class GenericPrint;

/// A rule for scoring files as candidates for migration. The result file announces the
/// type; no scan makes one.
class FileScoreRule : public EntityToObjectMapper {
public:
    void inititializeObject(const Row& header, const Table& rows) override;

    static void printHeader(GenericPrint& out);

    void setType(std::int16_t type) { cType = type; }
    void setOperator(std::int16_t comparison) { cOperator = comparison; }
    void setRule(const std::string& rule) { cRule = rule; }
    void setScore(std::int32_t score) { cScore = score; }
    [[nodiscard]] std::size_t getRuleLength() const { return cRule.size(); }

    std::int16_t cType = 0;
    std::int16_t cOperator = 0;
    std::string cRule;
    std::int32_t cScore = 0;
};
