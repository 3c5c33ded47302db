#include "Scan/Scanner.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <sys/resource.h>

#include "Common/GenericException.h"
#include "Common/LogManager.h"
#include "Common/unix/psnautil.h"
#include "Probe/Filesystem.h"
#include "Scan/FileAction.h"
#include "Scan/FileAttributes.h"
#include "Scan/FileInfo.h"
#include "Scan/SelectNode.h"
#include "Scan/unix/PlexSnapshot.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::int32_t kSurvived = 4;
constexpr std::int32_t kFatal = 8;
constexpr std::int32_t kNoReader = -1;
constexpr std::int64_t kReportEvery = 100000;  // entries
constexpr rlim_t kReserved = 16;               // descriptors left to logs, look-ups and helpers
constexpr std::uint32_t kNoSecurityData = 436;  // number of a failure of other platforms

/// The number from which on a descriptor of a walk is one too many: the lowest free number is
/// always taken, so hardly more than kReserved are free then.
int firstReservedDescriptor() {
    struct rlimit limit {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return INT_MAX;
    const rlim_t usable = limit.rlim_cur - std::min(kReserved, limit.rlim_cur / 2);
    return static_cast<int>(std::min<rlim_t>(usable, INT_MAX));
}

std::string withSlash(const std::string& text) {
    return text.ends_with('/') ? text : text + "/";
}

}  // namespace

Scanner::Scanner(Filesystem* pFilesystem, const std::vector<FileAction*>& fileActions,
                 const std::vector<const SelectNode*>& filters, UserTable* users,
                 DirectoryReaderFactory* readerFactory, std::int32_t timeout)
    : nfsTimeout(timeout),
      userTable(users),
      actions(fileActions),
      factory(readerFactory),
      currentFile(std::make_unique<FileAttributes>()),
      selectNodes(filters),
      selected(fileActions.size()),
      filesystem(pFilesystem) {
    TraceScope scope("Scanner::Scanner");
    rootPath = path = filesystem->fsMountPoint;
    if (!rootPath.ends_with('/'))
        rootPath += '\0';  // marks the end of a root without a slash
    if (Filesystem::isGRIDFSFileset(filesystem->fsType)) {
        trTrace(naMin, "filesystem->isGRIDFSFileset(filesystem->fsType) == TRUE");
        path = "/";
    }
}

Scanner::~Scanner() {
    TraceScope scope("Scanner::~Scanner");
}

std::int32_t Scanner::scan() {
    TraceScope scope("Scanner::scan");
    bounds = WalkBounds(path, plexSnapshotDirectory(),
                        Filesystem::isGRIDFSFileset(filesystem->fsType), longestPath());
    const std::int32_t opened = openRoot();
    if (opened != 0)
        return opened;
    firstReserved = firstReservedDescriptor();

    filesystem->fsScanTime = currentMilliseconds();
    scanTime = static_cast<std::int32_t>(filesystem->fsScanTime / 1000);
    currentFile->faName = path;
    if (!arrayReader.front()) {
        trTrace(naMin,
                "Scanner::scan() : ERROR: The array reader stored at <arrayReader[0]> is NULL. "
                "Leaving method.");
        return kNoReader;
    }
    try {
        if (!statRoot())
            noteLoss();
        path = withSlash(path);
        fireSelected();
        fireEntered();
        currentFile->faName = path;
        walk();
        logMsg(message::AGT0144I, {std::to_string(total)});
        return rc;
    } catch (GenericException* thrown) {
        const std::unique_ptr<GenericException> failure(thrown);
        if (failure->getMsgID() == kNoSecurityData) {
            trTrace(naMin,
                    "Caught Exception from DirectoryReaderWin32::StatFile() : ERROR: Cannot "
                    "get security info for %s ",
                    failure->getMessage().c_str());
            logMsg(message::STA0135W, {failure->getMessage()});
        }
        logFailure(*failure);
        trTrace(naMin, "Scanner::scan() : ERROR: %s ", failure->getMessage().c_str());
        trTrace(naMin, "Exiting with rc = 8");
        return kFatal;
    }
}

/// Makes the reader of the root: 0, or the code that ends the scan.
std::int32_t Scanner::openRoot() {
    TraceScope scope("Scanner::openRoot");
    try {
        arrayReader.push_back(factory->newDirectoryReader(this, true));
        return 0;
    } catch (GenericException* thrown) {
        const std::unique_ptr<GenericException> failure(thrown);
        trTrace(naMin,
                "Caught GenericException accessing filesystem %s - skipping this filesystem "
                "and trying to scan next filesystem",
                failure->getMessage().c_str());
        return kSurvived;
    } catch (std::exception* thrown) {
        const std::unique_ptr<std::exception> failure(thrown);
        trTrace(naMin,
                "Scanner::scan() : ERROR: Caught LocalizableException in "
                "factory.newDirectoryReader() ... Exiting with rc = 8");
        trTrace(naMin, "%s", failure->what());
        return kFatal;
    }
}

/// False if the root has no attributes; its directory is then not read.
bool Scanner::statRoot() {
    TraceScope scope("Scanner::statRoot");
    DirectoryReader& reader = *arrayReader.front();
    const std::optional<EntryIdentity> place = reader.Stat(currentFile.get());
    if (!place) {
        forgetEntry();
        reader.setHandle(nullptr);
        return false;
    }
    rootPlace.identity = *place;
    rootPlace.deviceTells = !reader.getHandle() || reader.getHandle()->deviceTells();
    return true;
}

void Scanner::walk() {
    TraceScope scope("Scanner::walk");
    const std::int16_t fsType = filesystem->fsType;
    while (level >= 0) {
        if (!nextGood(fsType)) {
            fireLeft();
            --level;
            continue;
        }
        if (level == 0 && currentFile->faType == FA_DIRECTORY && isSnapshot()) {
            trTrace(naMin, "Scanner::scan() : Skipping the snapshot directory %s\n",
                    currentFile->faName.c_str());
            continue;
        }
        if (currentFile->faType != FA_ELSEWHERE) {
            fireSelected();
            if (currentFile->faType == FA_DIRECTORY)
                advance();
        }
        countEntry();
    }
}

/// Enters the current entry, a directory.
void Scanner::advance() {
    TraceScope scope("Scanner::advance");
    if (level > WalkBounds::kMaxComponents - 2) {
        trTrace(naMin,
                "Scanner::advance() : level >= (MAX_COMPONENTS - 1): MAX_COMPONENTS = %d.",
                WalkBounds::kMaxComponents);
        logMsg(message::STA0001E, {path});
        return;
    }
    const std::string oldPath = path;
    path = currentFile->faName;
    ++level;
    try {
        storeReader(factory->newDirectoryReader(this, false));
        fireEntered();
    } catch (GenericException* thrown) {
        const std::unique_ptr<GenericException> failure(thrown);
        decrementLevel(oldPath);
    } catch (std::exception* thrown) {
        const std::unique_ptr<std::exception> failure(thrown);
        trTrace(naMin,
                "Scanner::advance() : ERROR: Caught LocalizableException in "
                "factory.newDirectoryReader()...");
        decrementLevel(oldPath);
    }
}

void Scanner::storeReader(std::unique_ptr<DirectoryReader> reader) {
    TraceScope scope("Scanner::storeReader");
    const auto slot = static_cast<std::size_t>(level);
    if (slot < arrayReader.size())
        arrayReader[slot] = std::move(reader);
    else
        arrayReader.push_back(std::move(reader));
}

void Scanner::decrementLevel(const std::string& oldPath) {
    TraceScope scope("Scanner::decrementLevel");
    noteLoss();
    if (level < 0) {
        trTrace(naMin,
                "Scanner::decrementLevel() : ERROR in <path = arrayReader[level]> since level "
                "< 0!");
        return;
    }
    --level;
    path = oldPath;
}

bool Scanner::nextGood(std::int16_t fsType) {
    TraceScope scope("Scanner::nextGood");
    const auto slot = static_cast<std::size_t>(level);
    for (;;) {
        if (slot >= arrayReader.size()) {
            trTrace(naMin,
                    "Scanner::nextGood() : ERROR: The <level> = %d is out of bounce of the "
                    "<arrayReader> size = %d. Leaving method.",
                    level, static_cast<int>(arrayReader.size()));
            return false;
        }
        if (!arrayReader[slot]) {
            trTrace(naMin,
                    "Scanner::nextGood() : ERROR: The DirectoryReader at <arrayReader [ %d ] > "
                    "is NULL. Leaving method.",
                    level);
            return false;
        }
        try {
            return arrayReader[slot]->next(fsType);
        } catch (std::exception* thrown) {
            const std::unique_ptr<std::exception> failure(thrown);
            trTrace(naMin,
                    "Scanner::nextGood() : ERROR: Caught LocalizableException in "
                    "array[%d].next(%i) ... Setting rc to 4",
                    level, fsType);
            noteLoss();
        }
    }
}

void Scanner::fireSelected() {
    TraceScope scope("Scanner::fireSelected");
    for (std::int32_t i = 0; i < selectedCount; ++i)
        actions[selected[static_cast<std::size_t>(i)]]->actUpon(this, currentFile.get());
}

void Scanner::fireEntered() {
    TraceScope scope("Scanner::fireEntered");
    for (FileAction* const action : actions)
        action->directoryEntered(currentFile.get());
}

void Scanner::fireLeft() {
    TraceScope scope("Scanner::fireLeft");
    for (FileAction* const action : actions)
        action->directoryLeft();
}

void Scanner::countEntry() {
    ++total;
    ++sinceReport;
    if (sinceReport >= kReportEvery) {
        logMsg(message::AGT0143I, {std::to_string(total)});
        sinceReport = 0;
    }
}

void Scanner::selectEntry(const FileInfo* info) {
    TraceScope scope("Scanner::selectEntry");
    selectedCount = 0;
    for (std::size_t i = 0; i < selectNodes.size(); ++i) {
        if (selects(selectNodes[i], info))
            selected[static_cast<std::size_t>(selectedCount++)] = static_cast<std::uint32_t>(i);
    }
}

void Scanner::forgetEntry() {
    TraceScope scope("Scanner::forgetEntry");
    std::string name = std::move(currentFile->faName);
    *currentFile = FileAttributes();
    currentFile->faName = std::move(name);
    currentFile->faType = FA_ELSEWHERE;
    selectedCount = 0;
}

void Scanner::placeEntry(const std::optional<EntryIdentity>& place) {
    if (!place) {
        forgetEntry();
        return;
    }
    if (!rootPlace.holds(*place, currentFile->faType == FA_DIRECTORY))
        currentFile->faType = FA_ELSEWHERE;
}

void Scanner::noteLoss() {
    rc = kSurvived;
}

DirectoryStream* Scanner::containingStream() const {
    return arrayReader[static_cast<std::size_t>(level - 1)]->getHandle();
}

bool Scanner::suspendHighest() {
    TraceScope scope("Scanner::suspendHighest");
    if (suspendedLevels >= level - 1)
        return false;
    DirectoryStream* const highest =
        arrayReader[static_cast<std::size_t>(suspendedLevels)]->getHandle();
    if (!highest || !highest->suspend())
        return false;
    ++suspendedLevels;
    return true;
}

void Scanner::resumeContaining() {
    TraceScope scope("Scanner::resumeContaining");
    if (level == 0 || suspendedLevels < level)
        return;
    const DirectoryStream* const current =
        arrayReader[static_cast<std::size_t>(level)]->getHandle();
    containingStream()->resume(*current, localPathOf(path));
    suspendedLevels = level - 1;
}

void Scanner::ScannerFinishOffNextEntry(const char* name) {
    TraceScope scope("Scanner::ScannerFinishOffNextEntry");
    if (!name) {
        trTrace(naMin,
                "Scanner::ScannerFinishOffNextEntry() : ERROR: The parameter <fileName> is "
                "NULL. Leaving method.");
        return;
    }
    // The entry before this one lies in the current directory or below it, so its path
    // begins with the directory's and only the rest is written anew.
    std::string& faName = currentFile->faName;
    faName.resize(path.size());
    if (!faName.ends_with('/'))
        faName += '/';
    faName += name;
}

bool Scanner::localPathFits(const std::string& reported, std::size_t room,
                            std::size_t taken) const {
    const std::size_t rest =
        reported.size() - std::min(localPath->remoteLength, reported.size());
    if (rest + localPath->localText.size() + taken <= room)
        return true;
    trTrace(naMin, "path is too long ... throwing Exception with STA0139W for %s",
            reported.c_str());
    return false;
}

std::string Scanner::localPathOf(const std::string& reported) const {
    TraceScope scope("Scanner::localPathOf");
    if (!localPath)
        return reported;
    const std::size_t prefix = std::min(localPath->remoteLength, reported.size());
    return localPath->localText + reported.substr(prefix);
}

bool Scanner::ScannerInitOpen(const std::string& directory, std::size_t room) {
    TraceScope scope("Scanner::ScannerInitOpen");
    if (directory.size() <= room)
        return true;
    const std::string start = directory.substr(0, room);
    trTrace(naMin,
            "Scanner::ScannerInitOpen() : ERROR: Logging problem with STA0139W ... Path %s is "
            "too long.",
            start.c_str());
    logMsg(message::STA0139W, {start});
    return false;
}

std::string Scanner::plexSnapshotDirectory() const {
    TraceScope scope("Scanner::plexSnapshotDirectory");
    if (filesystem->fsType != FS_PLEXFS)
        return {};
    std::string mount = localPath ? localPath->localText : path;
    if (mount.size() > 1 && mount.ends_with('/'))
        mount.pop_back();
    std::string directory = ::plexSnapshotDirectory(mount, nfsTimeout);
    trTrace(naMin, "snapshot directory for fileystem %s is %s\n", mount.c_str(),
            directory.c_str());
    return directory;
}

/// Characters up to which a reported path can be used: a longer one would not fit into a call
/// by path, whether it is made or not.
std::size_t Scanner::longestPath() const {
    TraceScope scope("Scanner::longestPath");
    if (!localPath)
        return PATH_MAX - 1;
    const std::size_t replaced =
        std::max(localPath->localText.size() + 1, localPath->maxLength);
    return replaced < PATH_MAX ? PATH_MAX - replaced + localPath->remoteLength : 0;
}

/// True if the current file, an entry of the root, is a directory of snapshots.
bool Scanner::isSnapshot() const {
    TraceScope scope("Scanner::isSnapshot");
    return bounds.isSnapshot(std::string_view(currentFile->faName).substr(bounds.rootLength()));
}
