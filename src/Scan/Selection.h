#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Scan/SelectNode.h"

/// Compiles the clauses of statistics, which the server sends as programs of bytes (their
/// language is told in ClauseParser.h):
///
///     selection.setFilter(statistic->getWhereClause());
///     if (selection.compile("creator.name", 0))
///         tree->selectNode = selection.takeRoot();
///
/// An empty clause, or one blank, selects every entry. One object compiles any number of
/// clauses, and the trees that were taken stay as they are. Scan thread only.
class Selection {
public:
    virtual ~Selection() = default;

    /// The clause as the server sent it: raw bytes.
    void setFilter(const std::string& clause);

    /// True if the clause compiled. `label` is for the trace. `level` is the level of the
    /// walk from which relative paths are matched: 0 for file system statistics, for
    /// directory statistics the depth of their directories.
    [[nodiscard]] bool compile(const std::string& label, std::int32_t level);

    /// Hands over the result of the last compile(); null if it failed.
    [[nodiscard]] std::unique_ptr<SelectNode> takeRoot();

    /// What the last compile() found wrong; see ClauseParser::parse(). A mask that was
    /// refused has the reason, ": ", the mask and their length (two bytes, the low one
    /// first) before its record.
    [[nodiscard]] const std::string& getErrors() const { return errors; }

private:
    void traceFailure(const std::string& label, std::int32_t level) const;

    std::unique_ptr<SelectNode> root;
    std::string filter;
    std::string errors;
};
