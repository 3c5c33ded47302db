#pragma once

struct FileInfo;

/// A node of a compiled filter.
struct SelectNode {
    /// 1 if the entry passes, else 0.
    int (*test)(const SelectNode* node, const FileInfo* info);
};

/// Runs a filter on an entry. A null filter never selects.
inline bool selects(const SelectNode* filter, const FileInfo* info) {
    return filter && filter->test(filter, info) != 0;
}
