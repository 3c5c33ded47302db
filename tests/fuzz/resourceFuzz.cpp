#include "Common/ResourceFile.h"
#include "fuzz/fuzz.h"
#include "support/TempTree.h"

namespace {

using Entries = std::vector<ResourceFile::Entry>;

std::string textOf(const Entries& entries) {
    std::string text;
    for (const ResourceFile::Entry& entry : entries)
        text += entry.resource + "|" + std::to_string(entry.processId) + "|" + entry.lines;
    return text;
}

Entries read(const std::string& path) {
    ResourceFile file(path);
    require(file.open() == 0, "it opens");
    Entries entries = file.getEntries();
    require(file.discard() == 0, "it closes");
    return entries;
}

}  // namespace

/// A choice of a change, and a resource file: what was written back is read equal.
void fuzz(const std::string& input) {
    static const TempTree tree;
    const std::string path = tree.path("resources");
    std::string content = input;
    const unsigned choice = takeByte(content);
    tree.write("resources", content);
    Entries expected = read(path);
    require(tree.read("resources") == content, "reading changes nothing");

    const ResourceFile::Entry own = ResourceFile::ownEntry("scan_1");
    ResourceFile file(path);
    require(file.create() == 0 && file.open() == 0, "it opens for a change");
    if (choice % 2 == 0) {
        expected.push_back(own);
        require(file.append(own) == 0, "an entry is added");
    } else {
        if (!expected.empty())
            expected.erase(expected.begin() + static_cast<long>(choice / 2 % expected.size()));
        require(file.replace(expected) == 0, "the entries are replaced");
    }
    require(textOf(read(path)) == textOf(expected), "what was written is read");
    require(!tree.exists("resources.tmp"), "nothing is left beside it");
}
