#include "Scan/SelectNode.h"

#include <iterator>
#include <string_view>
#include <utility>

#include "Scan/FileInfo.h"
#include "Scan/Scanner.h"
#include "common/ut/trace.h"

namespace {

constexpr std::uint32_t kFieldMask = 0xFFFF;

// By CompareField.
constexpr std::int64_t EntryStat::*kNumbers[] = {&EntryStat::size, &EntryStat::blocks,
                                                 &EntryStat::accessed, &EntryStat::modified};

/// The first operand: a node, a mask or a name.
template <class T>
const T& leftOf(const SelectNode* node) {
    return *std::get_if<T>(&node->left);
}

const SelectNode* leftNode(const SelectNode* node) {
    return leftOf<SelectNode::Operand>(node).get();
}

const SelectNode* rightNode(const SelectNode* node) {
    return std::get_if<SelectNode::Operand>(&node->right)->get();
}

std::uint32_t value(const SelectNode* node) {
    return leftOf<std::uint32_t>(node);
}

std::uint32_t word(const SelectNode* node) {
    return *std::get_if<std::uint32_t>(&node->right);
}

const MaskMatcher& mask(const SelectNode* node) {
    return *leftOf<std::unique_ptr<MaskMatcher>>(node);
}

int testAlways(const SelectNode* /*node*/, const FileInfo* /*info*/) {
    return 1;
}

int testNever(const SelectNode* /*node*/, const FileInfo* /*info*/) {
    return 0;
}

int testBoth(const SelectNode* node, const FileInfo* info) {
    return selects(leftNode(node), info) && selects(rightNode(node), info) ? 1 : 0;
}

int testEither(const SelectNode* node, const FileInfo* info) {
    return selects(leftNode(node), info) || selects(rightNode(node), info) ? 1 : 0;
}

int testNegated(const SelectNode* node, const FileInfo* info) {
    return selects(leftNode(node), info) ? 0 : 1;
}

/// Goes down the chain, which hangs to the left, from the last member to the first.
int testListed(const SelectNode* node, const FileInfo* info) {
    for (; node->test == testListed; node = leftNode(node)) {
        if (selects(rightNode(node), info))
            return 1;
    }
    return selects(node, info) ? 1 : 0;
}

int testAnyPermission(const SelectNode* node, const FileInfo* info) {
    return (info->attributes & value(node)) != 0 ? 1 : 0;
}

int testAllPermissions(const SelectNode* node, const FileInfo* info) {
    return (info->attributes & value(node)) == value(node) ? 1 : 0;
}

int testType(const SelectNode* node, const FileInfo* info) {
    return static_cast<std::uint32_t>(info->faType) == value(node) ? 1 : 0;
}

/// The answer for a field that is below, at or above (-1, 0, 1) what it is compared with.
int compared(std::uint32_t flags, int order) {
    const bool orEqual = (flags & COMPARE_OR_EQUAL) != 0;
    const bool inverted = (flags & COMPARE_INVERTED) != 0;
    return (orEqual ? order <= 0 : order < 0) != inverted ? 1 : 0;
}

int orderOf(std::int32_t left, std::int32_t right) {
    return left < right ? -1 : left > right ? 1 : 0;
}

std::int64_t number(const SelectNode* node, const FileInfo* info) {
    return info->stat.*kNumbers[word(node) & kFieldMask];
}

/// Meant: times are compared in 32 bits, and an offset from the walk's start wraps.
int testTime(const SelectNode* node, const FileInfo* info) {
    std::uint32_t limit = value(node);
    if ((word(node) & COMPARE_RELATIVE) != 0)
        limit += static_cast<std::uint32_t>(info->scanTime);
    return compared(word(node), orderOf(static_cast<std::int32_t>(number(node, info)),
                                        static_cast<std::int32_t>(limit)));
}

/// Meant: only the high half of a number is compared, so that everything below 4 G counts
/// as 0. Servers are used to what this gives.
int testNumber(const SelectNode* node, const FileInfo* info) {
    const auto high = static_cast<std::int32_t>(number(node, info) >> 32);
    return compared(word(node), orderOf(high, static_cast<std::int32_t>(value(node))));
}

int testName(const SelectNode* node, const FileInfo* info) {
    const bool isOwner = (word(node) & kFieldMask) == FIELD_OWNER;
    const std::string_view name = isOwner ? info->ownerName : info->groupName;
    return compared(word(node), name.compare(leftOf<std::string>(node)));
}

int testOwnerMask(const SelectNode* node, const FileInfo* info) {
    return mask(node).matches(info->ownerName) ? 1 : 0;
}

/// The root of a walk ends in "/", which no mask of a path does: without it the root can
/// match as well.
int testWholePath(const SelectNode* node, const FileInfo* info) {
    std::string_view path(info->name, info->nameLength);
    if (mask(node).matches(path))
        return 1;
    if (!path.ends_with('/'))
        return 0;
    path.remove_suffix(1);
    return mask(node).matches(path) ? 1 : 0;
}

/// The path of the entry from the directory at `level` of the walk on. The path of a
/// walk's root holds the separator, others do not.
std::string_view pathFrom(const FileInfo* info, std::int32_t level) {
    std::string_view path(info->name, info->nameLength);
    path.remove_prefix(std::min(info->scanner->getPathLength(level), path.size()));
    if (path.starts_with('/'))
        path.remove_prefix(1);
    return path;
}

int testPathFromLevel(const SelectNode* node, const FileInfo* info) {
    if (node->level > info->scanner->getLevel())
        return 0;
    return mask(node).matches(pathFrom(info, node->level)) ? 1 : 0;
}

int testLastComponents(const SelectNode* node, const FileInfo* info) {
    const std::int64_t level = std::int64_t{info->scanner->getLevel()} + 1 - word(node);
    if (level < 0 || node->level > level)
        return 0;
    return mask(node).matches(pathFrom(info, static_cast<std::int32_t>(level))) ? 1 : 0;
}

SelectNode::Operand leaf(SelectNode::Test test) {
    auto made = std::make_unique<SelectNode>();
    made->test = test;
    return made;
}

template <class Left, class Right>
SelectNode::Operand made(SelectNode::Test test, Left left, Right right) {
    SelectNode::Operand result = leaf(test);
    result->left = std::move(left);
    result->right = std::move(right);
    return result;
}

}  // namespace

SelectNode::~SelectNode() {
    // A list of many members hangs to the left; its nodes go one by one.
    Operand* operand = std::get_if<Operand>(&left);
    Operand next = operand ? std::move(*operand) : nullptr;
    while (next) {
        operand = std::get_if<Operand>(&next->left);
        next = operand ? std::move(*operand) : nullptr;
    }
}

bool selectsWithoutTest(const SelectNode& node) {
    if (!node.missingTestTold)
        trError("A filter masks the names of groups, which selects nothing\n");
    node.missingTestTold = true;
    return false;
}

namespace node {

SelectNode::Operand always() {
    return leaf(testAlways);
}

SelectNode::Operand both(SelectNode::Operand left, SelectNode::Operand right) {
    return made(testBoth, std::move(left), std::move(right));
}

SelectNode::Operand either(SelectNode::Operand left, SelectNode::Operand right) {
    return made(testEither, std::move(left), std::move(right));
}

SelectNode::Operand negated(SelectNode::Operand operand) {
    return made(testNegated, std::move(operand), 0U);
}

SelectNode::Operand listed(SelectNode::Operand list, SelectNode::Operand member) {
    return made(testListed, std::move(list), std::move(member));
}

SelectNode::Operand anyPermission(std::uint32_t bits) {
    return made(testAnyPermission, bits, 0U);
}

SelectNode::Operand allPermissions(std::uint32_t bits) {
    return made(testAllPermissions, bits, 0U);
}

SelectNode::Operand type(std::uint32_t entryType) {
    return made(testType, entryType, 0U);
}

SelectNode::Operand compareTime(CompareField field, std::uint32_t flags,
                                std::uint32_t seconds) {
    // Meant: no entry has a time of creation here, under no operator.
    return made(field == FIELD_CREATED ? testNever : testTime, seconds, field | flags);
}

SelectNode::Operand compareNumber(CompareField field, std::uint32_t flags,
                                  std::uint32_t number) {
    return made(testNumber, number, field | flags);
}

SelectNode::Operand compareName(CompareField field, std::uint32_t flags, std::string name) {
    return made(testName, std::move(name), field | flags);
}

SelectNode::Operand ownerMask(std::unique_ptr<MaskMatcher> mask) {
    return made(testOwnerMask, std::move(mask), 0U);
}

SelectNode::Operand groupMask(std::unique_ptr<MaskMatcher> mask) {
    return made(nullptr, std::move(mask), 0U);
}

SelectNode::Operand pathMask(std::unique_ptr<MaskMatcher> mask, std::int32_t form,
                             std::int32_t level) {
    const SelectNode::Test test = form == 0  ? testWholePath
                                  : form > 0 ? testPathFromLevel
                                             : testLastComponents;
    SelectNode::Operand result =
        made(test, std::move(mask), form < 0 ? static_cast<std::uint32_t>(-form) : 0U);
    result->level = level;
    return result;
}

}  // namespace node
