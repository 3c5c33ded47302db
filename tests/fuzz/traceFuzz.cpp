#include "common/ut/TraceScope.h"
#include "common/ut/traceClasses.h"
#include "common/ut/traceControl.h"
#include "fuzz/fuzz.h"
#include "support/TempTree.h"

/// The file of an earlier trace: it goes on or starts over, and what is traced stands in it
/// as a line, before the mark of its end.
void fuzz(const std::string& input) {
    static const TempTree tree;
    tree.write("trace", input);
    static_cast<void>(trSetFlags("", true, kFoundationClasses, kFoundationAggregates));
    trClearFlags(kFoundationClasses);  // no time or number before the text of a line
    naMin = 1;
    trSetMax(1);
    for (const std::string text : {"first line", "second line"}) {
        require(trOpen(tree.path("trace"), false) == 0, "it opens");
        trTrace(naMin, "%s\n", text.c_str());
        trClose(false);
        const std::string line = text + "\n";
        const std::string after = tree.read("trace");
        const std::size_t end = std::strtoul(after.substr(12, 12).c_str(), nullptr, 10);
        require(after.size() <= (1U << 20U) + 64, "the limit holds");
        require(holdsLine(after, line), "a line is whole");
        require(end <= after.size() && after.substr(0, end).ends_with(line) &&
                    after.substr(end).starts_with("\nEND OF DATA - close\n"),
                "the header tells where the trace ends");
    }
    trClose(true);
}
