#include "Probe/Filesystem.h"
#include "Scan/Selection.h"
#include "Scan/UberTable.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/UnixUserTable.h"
#include "fuzz/fuzz.h"
#include "support/RecordingAction.h"
#include "support/TempTree.h"

/// The first byte is the level, the others are a clause: it compiles or not, and if it
/// does, it runs on a small tree.
void fuzz(const std::string& input) {
    static const TempTree tree;
    static const bool filled = [] {
        tree.mkdirp("d/e");
        tree.touch("d/e/core");
        return true;
    }();
    std::string clause = input;
    const unsigned level = takeByte(clause) % 4;
    Selection selection;
    selection.setFilter(clause);
    if (!filled || !selection.compile("fuzz", static_cast<int>(level)))
        return;
    const std::unique_ptr<SelectNode> filter = selection.takeRoot();
    Filesystem filesystem;
    filesystem.fsMountPoint = "/";
    UberTable names;
    UnixUserTable users(names);
    DirectoryReaderFactory readers;
    RecordingAction action;
    ScannerUnix scanner(&filesystem, {&action}, {filter.get()}, &users, &readers, tree.root(),
                        0);
    require(scanner.scan() == 0, "the walk ends well");
}
