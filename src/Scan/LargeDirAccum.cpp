#include "Scan/LargeDirAccum.h"

#include "Probe/Filesystem.h"
#include "Scan/CuStatResults.h"
#include "Scan/wrapCount.h"
#include "common/ut/TraceScope.h"
#include "common/ut/wrapAdd.h"

namespace {

// Meant: a regular file alone can be one of the largest two, but a directory or a link that
// is larger than the largest moves it down to second place.
void takeLargest(SDirectory& directory, std::int64_t size, bool isFile) {
    if (size <= directory.dir2ndLargestSize)
        return;
    if (size > directory.dirLargestSize) {
        directory.dir2ndLargestSize = directory.dirLargestSize;
        if (isFile)
            directory.dirLargestSize = size;
    } else if (isFile) {
        directory.dir2ndLargestSize = size;
    }
}

}  // namespace

LargeDirAccum::LargeDirAccum(std::int32_t length, const Filesystem& filesystem)
    : Accumulator("LargeDirAccum"),
      nMost(std::make_unique<NMost>(length)),
      fsID(filesystem.fsID) {
    TraceScope scope("LargeDirAccum::LargeDirAccum");
}

void LargeDirAccum::newDirectory(FileAttributes* pDirInfo) {
    TraceScope scope("LargeDirAccum::newDirectory");
    if (!pDirInfo) {
        trTrace(naMin, "The parameter FileAttributes <pDirInfo> is NULL. Leaving method.");
        return;
    }
    auto directory = std::make_unique<SDirectory>(*pDirInfo);
    directory->dirFilesystemID = fsID;
    openDirs.pushFront(std::move(directory));
}

void LargeDirAccum::endDirectory() {
    TraceScope scope("LargeDirAccum::endDirectory");
    std::unique_ptr<SDirectory> directory = openDirs.popFront();
    if (directory && nMost && nMost->mustAdd(this, directory->dirTotalSize))
        nMost->add(std::move(directory));
}

void LargeDirAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("LargeDirAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    SDirectory* const currentDir = openDirs.head();
    if (!currentDir)
        return;
    if (pInfo->isFileOrLink())
        currentDir->dirFileCount = oneMore(currentDir->dirFileCount);
    else if (pInfo->faType == FA_DIRECTORY)
        currentDir->dirDirectoryCount = oneMore(currentDir->dirDirectoryCount);

    const std::int64_t size = pInfo->faBlocks;
    currentDir->dirTotalSize = wrapAdd(currentDir->dirTotalSize, size);
    takeLargest(*currentDir, size, pInfo->faType == FA_FILE);
    const std::size_t range = SizeRanges::bucket(size);
    currentDir->dirSizes[range] = wrapAdd(currentDir->dirSizes[range], size);
    currentDir->dirCounts[range] = oneMore(currentDir->dirCounts[range]);
}

void LargeDirAccum::finish(CuStatResults* results) {
    TraceScope scope("LargeDirAccum::finish");
    if (!results || !nMost)
        return;
    SDirectoryList list;
    for (std::unique_ptr<Object>& member : nMost->takeMembers()) {
        auto directory = memberAs<SDirectory>(std::move(member));
        if (!directory)
            continue;
        directory->dirStatisticID = results->srID;
        list.pushFront(std::move(directory));
    }
    results->srLargestDirectories = std::move(list);
    nMost.reset();
}
