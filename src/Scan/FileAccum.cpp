#include "Scan/FileAccum.h"

#include <algorithm>
#include <limits>

#include "Probe/Filesystem.h"
#include "Scan/CuStatResults.h"
#include "Scan/Scanner.h"
#include "common/ut/TraceScope.h"

void FileAccum::add(Scanner* pScanner, FileAttributes* pInfo, std::int64_t key,
                    std::int32_t statType) {
    TraceScope scope("FileAccum::add");
    if (!pScanner || !pInfo || !nMost)
        return;
    if (!nMost->mustAdd(this, key) || !pInfo->isFileOrLink())
        return;
    auto file = std::make_unique<SFile>(*pInfo);
    file->sfFilesystemID = pScanner->getFilesystem()->fsID;
    file->sfStatType = statType;
    nMost->add(std::move(file));
}

void FileAccum::finish(CuStatResults* results) {
    TraceScope scope("FileAccum::finish");
    if (!results || !nMost)
        return;
    SFileList list;
    for (std::unique_ptr<Object>& member : nMost->takeMembers()) {
        auto file = memberAs<SFile>(std::move(member));
        if (!file)
            continue;
        file->sfStatisticID = results->srID;
        list.pushFront(std::move(file));
    }
    setResults(results, std::move(list));
    nMost.reset();
}

std::int64_t FileAccum::oldestFirst(std::int64_t time) {
    return -std::max(time, -std::numeric_limits<std::int64_t>::max());
}
