#include "Scan/FileTypeAccum.h"

#include "Probe/Filesystem.h"
#include "Scan/CuStatResults.h"
#include "Scan/FileAttributes.h"
#include "Scan/Scanner.h"
#include "common/ut/TraceScope.h"
#include "common/ut/wrapAdd.h"

FileTypeAccum::FileTypeAccum(std::int32_t proID, bool isWindows, std::int32_t ftNumber)
    : Accumulator("FileTypeAccum"),
      nMost(std::make_unique<NMost>(ftNumber)),
      profileID(proID),
      winOS(isWindows) {
    TraceScope scope("FileTypeAccum::FileTypeAccum");
}

// Meant: a dot at the very beginning is never looked at, and one far from the end is not
// found.
bool FileTypeAccum::extractExtensionName(std::string_view name, bool winOS,
                                         std::string_view& extension) {
    TraceScope scope("FileTypeAccum::extractExtensionName");
    static constexpr std::size_t kMostCharacters = 6;  // behind the dot
    static constexpr unsigned char kLastPrintable = 126;
    for (std::size_t behind = 0; behind + 1 < name.size(); ++behind) {
        const std::size_t position = name.size() - 1 - behind;
        const char c = name[position];
        if (winOS && static_cast<unsigned char>(c) > kLastPrintable)
            return false;
        if (c == '.') {
            extension = name.substr(position);
            return behind > 0;
        }
        if (c == '/' || c == '\\' || c == ' ' || (!winOS && behind >= kMostCharacters))
            return false;
    }
    return false;
}

std::uint64_t FileTypeAccum::packed(std::string_view extension) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < kPackedLength; ++i) {
        const char c = i < extension.size() ? extension[i] : '\0';
        const char lower = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        number = number << 8U | static_cast<unsigned char>(lower);
    }
    return number;
}

std::string FileTypeAccum::unpacked(std::uint64_t extension) {
    std::string text;
    for (; extension != 0; extension <<= 8U)
        text += static_cast<char>(extension >> 56U);
    return text;
}

void FileTypeAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
    TraceScope scope("FileTypeAccum::accumulate");
    if (!pScanner || !pInfo) {
        traceNullArgument("<pScanner>, <pInfo>");
        return;
    }
    std::string_view extension;
    if (pInfo->faType != FA_FILE || !extractExtensionName(pInfo->faName, winOS, extension))
        return;
    if (extension.size() > kPackedLength)
        return;  // on Windows alone
    const auto [usage, isNew] = summaries.findOrAdd(packed(extension));
    if (isNew) {
        filesystemID = pScanner->getFilesystem()->fsID;
        fileTypeMap = pScanner->getFileTypeMap();
    }
    usage.fileCount += 1;
    usage.spaceUsed = wrapAdd(usage.spaceUsed, pInfo->faBlocks);
}

void FileTypeAccum::finish(CuStatResults* results) {
    TraceScope scope("FileTypeAccum::finish");
    if (!results || !nMost)
        return;
    const auto byText = [](const Usage& left, const Usage& right) {
        return left.extension < right.extension;
    };
    for (const std::uint32_t position : summaries.sortedPositions(byText)) {
        const Usage& usage = summaries[position];
        if (!nMost->mustAdd(this, usage.spaceUsed))
            continue;
        auto summary = std::make_unique<FileTypeSummary>();
        summary->profileID = profileID;
        summary->filesystemID = filesystemID;
        summary->fileCount = usage.fileCount;
        summary->spaceUsed = usage.spaceUsed;
        summary->fileType = fileTypeOf(usage.extension);
        nMost->add(std::move(summary));
    }
    FileTypeSummaryList list;
    for (std::unique_ptr<Object>& member : nMost->takeMembers()) {
        auto summary = memberAs<FileTypeSummary>(std::move(member));
        if (summary)
            list.pushFront(std::move(summary));
        else
            trTrace(naMin,
                    "ERROR: cannot cast map-element to type FileTypeSummary - continue with "
                    "next element");
    }
    results->srFileTypes = std::move(list);
    summaries.clear();
    nMost.reset();
}

/// The record that all statistics of the scan share, made when it is first needed.
const FileType* FileTypeAccum::fileTypeOf(std::uint64_t extension) const {
    TraceScope scope("FileTypeAccum::fileTypeOf");
    if (!fileTypeMap)
        return nullptr;
    const std::string text = unpacked(extension);
    std::unique_ptr<FileType>& fileType = (*fileTypeMap)[text];
    if (!fileType)
        fileType = std::make_unique<FileType>(text);
    return fileType.get();
}
