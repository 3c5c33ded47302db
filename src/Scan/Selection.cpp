#include "Scan/Selection.h"

#include "common/ut/TraceScope.h"

namespace {

int testAlways(const SelectNode* /*node*/, const FileInfo* /*info*/) {
    return 1;
}

}  // namespace

void Selection::setFilter(const std::string& clause) {
    filter = clause;
}

bool Selection::compile(const std::string& label, std::int32_t level) {
    TraceScope scope("Selection::compile");
    root.reset();
    if (filter.empty() || filter == " ")
        root = std::make_unique<SelectNode>(SelectNode{testAlways});
    else
        trTrace(naMin, "the filter of %s does not compile at level %d\n", label.c_str(), level);
    return root != nullptr;
}

std::unique_ptr<SelectNode> Selection::takeRoot() {
    return std::move(root);
}
