#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Scan/SelectNode.h"

/// Compiles the clauses of statistics.
///
///     selection.setFilter(statistic->getWhereClause());
///     if (selection.compile("creator.name", 0))
///         tree->selectNode = selection.takeRoot();
///
/// An empty clause, or one blank, selects every entry. No other clause compiles yet.
class Selection {
public:
    virtual ~Selection() = default;

    /// The clause as the server sent it: raw bytes.
    void setFilter(const std::string& clause);

    /// True if the clause compiled. `label` is for the trace; `level` is 0 for file system
    /// statistics, for directory statistics the depth of their directories.
    [[nodiscard]] bool compile(const std::string& label, std::int32_t level);

    /// Hands over the result of the last compile(); null if it failed.
    [[nodiscard]] std::unique_ptr<SelectNode> takeRoot();

private:
    std::unique_ptr<SelectNode> root;
    std::string filter;
};
