#include "Scan/LargeFileAccum.h"

#include "Probe/Filesystem.h"
#include "Scan/CuStatResults.h"
#include "Scan/Scanner.h"
#include "common/ut/TraceScope.h"

namespace {

// Meant: the low word of the size alone is the key, as a signed number. A file of 2^31 blocks
// counts as the smallest there is; in the ranking of orphans it stands right.
std::int64_t sizeKey(std::int64_t size) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(size));
}

}  // namespace

void LargeFileAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("LargeFileAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    const std::int16_t fsType = pScanner->getFilesystem()->fsType;
    const bool fat = fsType == FS_FAT || fsType == FS_FAT32;
    add(pScanner, pInfo, sizeKey(fat ? pInfo->faLength : pInfo->faBlocks), ST_LARGEST_FILES);
}

void LargeFileAccum::setResults(CuStatResults* results, SFileList list) {
    TraceScope scope("LargeFileAccum::setResults");
    results->srLargestFiles = std::move(list);
}
