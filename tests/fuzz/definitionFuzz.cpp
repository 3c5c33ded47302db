#include "Common/GenericException.h"
#include "Probe/Filesystem.h"
#include "Scan/AgentScan.h"
#include "Scan/DefinitionLoader.h"
#include "fuzz/fuzz.h"
#include "support/TempTree.h"

namespace {

std::size_t filesystemsIn(const AgentScan& request) {
    std::size_t count = 0;
    for (const Filesystem* member = request.getFilesystems(); member; member = member->next)
        ++count;
    return count;
}

std::size_t tagsIn(const std::string& text, const std::string& tag) {
    std::size_t count = 0;
    for (std::size_t at = text.find(tag); at != std::string::npos; at = text.find(tag, at + 1))
        ++count;
    return count;
}

}  // namespace

/// A definition file: it loads, or fails with a code of its own.
void fuzz(const std::string& input) {
    static const TempTree tree;
    tree.write("definition", input);
    try {
        const auto request = DefinitionLoader(tree.path("definition")).load();
        require(filesystemsIn(*request) <= tagsIn(input, "[Filesystem"), "nothing is invented");
    } catch (const VEXParserException& failure) {
        require(failure.getErrCode() == VEX_READ_FAILED ||
                    failure.getErrCode() == VEX_NO_SUCH_HEADER,
                "a code of the parser");
    } catch (const VexObjectCreationException& failure) {
        require(failure.getErrCode() == VEX_COLUMN_COUNT, "the code of a row");
    }
}
