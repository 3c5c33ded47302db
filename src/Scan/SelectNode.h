#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include "Scan/MaskMatcher.h"

struct FileInfo;

/// A node of a compiled filter: a test function and what it needs. A filter is a tree of
/// nodes, made by the functions below and owned through its root. Running it costs one
/// indirect call per node, stops as soon as the answer is known, and allocates nothing.
struct SelectNode {
    using Test = int (*)(const SelectNode* node, const FileInfo* info);
    using Operand = std::unique_ptr<SelectNode>;
    enum Kind : std::size_t { LEAF = 0, OPERANDS = 1, EXPRESSION = 2, TEXT = 3 };

    ~SelectNode();

    /// What `left` holds.
    [[nodiscard]] Kind kind() const { return static_cast<Kind>(left.index()); }

    /// 1 if the entry passes, else 0. Null in a mask of group names.
    Test test = nullptr;
    /// A number to compare with, the first operand, a compiled mask, or a name.
    std::variant<std::uint32_t, Operand, std::unique_ptr<MaskMatcher>, std::string> left{};
    /// What to compare and how, or the second operand, or a count of path components.
    std::variant<std::uint32_t, Operand> right{};
    std::int32_t level = 0;                // of the path tests; see Selection::compile()
    mutable bool missingTestTold = false;  // in the trace
};

/// Runs a filter on an entry. A null filter never selects.
[[nodiscard]] bool selectsWithoutTest(const SelectNode& node);
[[nodiscard]] inline bool selects(const SelectNode* filter, const FileInfo* info) {
    if (!filter)
        return false;
    if (!filter->test) [[unlikely]]
        return selectsWithoutTest(*filter);
    return filter->test(filter, info) != 0;
}

/// The field of an entry that a comparison looks at; the low 16 bits of its word.
enum CompareField : std::uint32_t {
    FIELD_LENGTH,
    FIELD_BLOCKS,
    FIELD_ACCESSED,
    FIELD_MODIFIED,
    FIELD_CREATED,  // not known on this platform
    FIELD_OWNER,
    FIELD_GROUP,
};

/// How a comparison compares; further bits of its word. Without any it is "<".
enum CompareFlag : std::uint32_t {
    COMPARE_OR_EQUAL = 0x10000,
    COMPARE_INVERTED = 0x20000,
    COMPARE_RELATIVE = 0x40000,  // a time is counted from the start of the walk
};

/// Makes nodes. None returns null.
namespace node {

SelectNode::Operand always();

SelectNode::Operand both(SelectNode::Operand left, SelectNode::Operand right);
SelectNode::Operand either(SelectNode::Operand left, SelectNode::Operand right);
SelectNode::Operand negated(SelectNode::Operand operand);

/// A list and one more member. A list may be of any length, so its chain is not recursed.
SelectNode::Operand listed(SelectNode::Operand list, SelectNode::Operand member);

/// Any of the permission bits, all of them; see FileFlag.
SelectNode::Operand anyPermission(std::uint32_t bits);
SelectNode::Operand allPermissions(std::uint32_t bits);
SelectNode::Operand type(std::uint32_t entryType);

/// `flags` are of CompareFlag.
SelectNode::Operand compareTime(CompareField field, std::uint32_t flags, std::uint32_t seconds);
SelectNode::Operand compareNumber(CompareField field, std::uint32_t flags,
                                  std::uint32_t number);
SelectNode::Operand compareName(CompareField field, std::uint32_t flags, std::string name);

SelectNode::Operand ownerMask(std::unique_ptr<MaskMatcher> mask);
/// Meant: has no test, so it selects nothing. Groups can only be compared.
SelectNode::Operand groupMask(std::unique_ptr<MaskMatcher> mask);

/// `form` is that of maskToRegex(), `level` that of Selection::compile().
SelectNode::Operand pathMask(std::unique_ptr<MaskMatcher> mask, std::int32_t form,
                             std::int32_t level);

}  // namespace node
