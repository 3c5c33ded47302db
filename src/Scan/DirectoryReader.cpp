#include "Scan/DirectoryReader.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "Common/GenericException.h"
#include "Common/LogManager.h"
#include "Scan/FileAttributes.h"
#include "Scan/FileInfo.h"
#include "Scan/Scanner.h"
#include "Scan/UserOrGroup.h"
#include "Scan/UserTable.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::uint32_t kNoSecurityData = 436;  // number of a failure of other platforms
constexpr std::size_t kOwnerLength = 32;        // characters that filters see
constexpr std::size_t kGroupLength = 16;
constexpr std::uint32_t kMostLinks = INT32_MAX;  // that a record can hold

/// Seconds as milliseconds; a time that does not fit stays at the end of the range.
std::int64_t milliseconds(std::int64_t seconds) {
    std::int64_t result = 0;
    if (!__builtin_mul_overflow(seconds, 1000, &result))
        return result;
    return seconds < 0 ? std::numeric_limits<std::int64_t>::min()
                       : std::numeric_limits<std::int64_t>::max();
}

}  // namespace

void DirectoryReader::init(Scanner* pScanner, bool first) {
    TraceScope scope("DirectoryReader::init");
    if (!pScanner) {
        trTrace(
            naMin,
            "DirectoryReader::init() : ERROR: Parameter <pScanner> is NULL. Leaving method.");
        return;
    }
    scanner = pScanner;
    firstReader = first;
    pathLength = scanner->getPath().size();
    try {
        setHandle(Open(scanner->getPath()));
    } catch (GenericException* thrown) {
        std::unique_ptr<GenericException> failure(thrown);
        trTrace(naMin, "DirectoryReader::init() : ERROR: %s ", failure->getMessage().c_str());
        if (failure->getMessage() == "STA0529E" || failure->getMessage() == "STA0530E") {
            logMsg(message::STA0529E, {failure->getCause()});
            throw failure.release();
        }
        logFailure(*failure);
    }
}

bool DirectoryReader::next(std::int16_t fsType) {
    TraceScope scope("DirectoryReader::next");
    bool found = false;
    try {
        found = NextDirEntry(fsType);
    } catch (GenericException* thrown) {
        const std::unique_ptr<GenericException> failure(thrown);
        trTrace(naMin,
                "DirectoryReader::next() : ERROR: Caught GenericException in native "
                "nextEntry() on  ... setting result to FALSE");
        trTrace(naMin, "EXCEPTION: ID: %s", failure->getMessage().c_str());
        logFailure(*failure);
    }
    if (!found) {
        scanner->resumeContaining();
        handle.reset();
        return false;
    }

    FileAttributes* const file = scanner->getCurrentFile();
    std::optional<EntryIdentity> place;
    try {
        place = Stat(file);
    } catch (GenericException* thrown) {
        const std::unique_ptr<GenericException> failure(thrown);
        const bool security = failure->getMsgID() == kNoSecurityData;
        if (security)
            trTrace(naMin,
                    "Caught Exception from DirectoryReader::StatFile() : ERROR: Cannot get "
                    "security info for %s ",
                    file->faName.c_str());
        else
            trTrace(naMin,
                    "DirectoryReader::next() : ERROR: Caught GenericException in native "
                    "stat() '%s'.",
                    file->faName.c_str());
        logMsg(security ? message::STA0135W : message::STA0069W, {file->faName});
    }
    scanner->placeEntry(place);
    return true;
}

void DirectoryReader::ScannerFinishOffStat(FileAttributes* file, FileInfo* info) {
    TraceScope scope("DirectoryReader::ScannerFinishOffStat");
    if (!file || !info) {
        trTrace(naMin,
                "DirectoryReader::ScannerFinishOffStat() : ERROR: Either input parameter "
                "<info> or <file> is NULL.");
        return;
    }
    UserTable* const table = scanner->getUserTable();
    file->faOwner = table->lookup(Sid(info->stat.userId), false);
    file->faGroup = table->lookup(Sid(info->stat.groupId), true);
    info->ownerName = std::string_view(file->faOwner->ugName).substr(0, kOwnerLength);
    info->groupName = std::string_view(file->faGroup->ugName).substr(0, kGroupLength);
    if (file->faOwner->ugRemoved > 0)
        info->attributes |= FA_ORPHAN;
    info->scanTime = scanner->getScanTime();
    if (info->faType > FA_DIRECTORY)
        info->stat.blocks = 0;

    file->faType = info->faType;
    file->faAttributes = info->attributes;
    file->faLength = info->stat.size;
    file->faBlocks = info->stat.blocks;
    file->faLinkCount = static_cast<std::int32_t>(std::min(info->stat.linkCount, kMostLinks));
    file->faInodeNumber = static_cast<std::int64_t>(info->stat.identity.inode);
    file->faModified = milliseconds(info->stat.modified);
    file->faAccessed = milliseconds(info->stat.accessed);
    scanner->selectEntry(info);
}
