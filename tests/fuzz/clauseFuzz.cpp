#include "Probe/Filesystem.h"
#include "Scan/Selection.h"
#include "Scan/UberTable.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/UnixUserTable.h"
#include "support/RecordingAction.h"
#include "support/TempTree.h"

/// The first byte is the level, the others are a clause: it compiles or not, and if it
/// does, it runs on a small tree.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempTree tree;
    static const bool filled = [] {
        tree.mkdirp("d/e");
        tree.touch("d/e/core");
        return true;
    }();
    if (size == 0 || !filled)
        return 0;
    Selection selection;
    selection.setFilter(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    if (!selection.compile("fuzz", data[0] % 4))
        return 0;
    const std::unique_ptr<SelectNode> filter = selection.takeRoot();
    Filesystem filesystem;
    filesystem.fsMountPoint = "/";
    UberTable names;
    UnixUserTable users(names);
    DirectoryReaderFactory readers;
    RecordingAction action;
    ScannerUnix scanner(&filesystem, {&action}, {filter.get()}, &users, &readers, tree.root(),
                        0);
    return scanner.scan() == 0 ? 0 : -1;
}
