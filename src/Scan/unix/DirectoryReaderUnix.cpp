#include "Scan/unix/DirectoryReaderUnix.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <sys/resource.h>

#include "Common/GenericException.h"
#include "Common/LogManager.h"
#include "Common/unix/pssignal.h"
#include "Scan/FileAttributes.h"
#include "Scan/FileInfo.h"
#include "Scan/Scanner.h"
#include "Scan/unix/DirectStream.h"
#include "Scan/unix/GuardedStream.h"
#include "Scan/unix/ReadAhead.h"
#include "Scan/unix/SharedGuardedStream.h"
#include "common/unx/virtstat.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

constexpr std::size_t kOpenLength = 4098;  // characters of a path that is opened
constexpr std::size_t kStatLength = 4096;  // bytes for a path whose attributes are read

/// Helpers that can make guarded calls beside the scan thread.
unsigned mostGuardedHelpers() {
    constexpr rlim_t perCall = 16;  // descriptors: four of pipes, the others of directories
    struct rlimit limit {};
    const rlim_t descriptors = getrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_max : 0;
    const rlim_t calls = std::clamp<rlim_t>(descriptors / perCall, 1, kMostGuardedCalls);
    return static_cast<unsigned>(calls) - 1;
}

/// True if every level of a walk can keep a directory open, beside those opened ahead.
bool hasManyDescriptors() {
    constexpr rlim_t least = 2 * WalkBounds::kMaxComponents + 112;
    struct rlimit limit {};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_max >= least;
}

}  // namespace

std::unique_ptr<DirectoryReader> DirectoryReaderFactory::newDirectoryReader(Scanner* pScanner,
                                                                            bool first) {
    TraceScope scope("DirectoryReaderFactory::newDirectoryReader");
    if (!pScanner) {
        trTrace(naMin,
                "DirectoryReaderFactory::createDirectoryReader() : ERROR: The given Scanner "
                "reference <pScanner> is NULL. Leaving method.");
        return nullptr;
    }
    auto reader = std::make_unique<DirectoryReaderUnix>();
    reader->init(pScanner, first);
    return reader;
}

int DirectoryReaderUnix::setHandle(std::unique_ptr<DirectoryStream> stream) {
    TraceScope scope("DirectoryReaderUnix::setHandle");
    const int overwritten = handle ? 1 : 0;
    if (overwritten != 0)
        trTrace(naMin,
                "WARNING: We overwrite an existing handle of %p. We probably need to check if "
                "corresponding memory requires to be released!",
                static_cast<void*>(handle.get()));
    if (!stream)
        trTrace(naMin, "ERROR: Setting new handle to an illegal value of %d.", 0);
    handle = std::move(stream);
    return overwritten;
}

/// Opens the root of the walk, in the manner of the whole walk.
int DirectoryReaderUnix::openRoot(const std::string& path,
                                  std::unique_ptr<DirectoryStream>& stream) const {
    TraceScope scope("DirectoryReaderUnix::openRoot");
    const std::chrono::seconds limit(scanner->getNfsTimeout());
    const bool guarded = limit.count() > 0;
    // Directories that are shared with helpers keep their descriptors.
    if (scanner->getReadAhead() <= 0 || !hasManyDescriptors())
        return guarded ? GuardedStream::openRoot(path, limit, stream)
                       : DirectStream::openRoot(path, stream);
    auto helpers = static_cast<unsigned>(scanner->getReadAhead());
    if (guarded)
        helpers = std::min(helpers, mostGuardedHelpers());
    const int rc = guarded ? SharedGuardedStream::openRoot(path, limit, stream)
                           : DirectStream::openRoot(path, stream);
    if (rc == 0)
        stream = ReadAhead::over(std::move(stream), helpers, scanner->getBounds());
    return rc;
}

/// Opens a directory in the one that holds it. Where descriptors are short, directories
/// further up give theirs up: those are needed last.
int DirectoryReaderUnix::openChild(const char* name,
                                   std::unique_ptr<DirectoryStream>& stream) const {
    TraceScope scope("DirectoryReaderUnix::openChild");
    DirectoryStream* const containing = scanner->containingStream();
    int rc = containing->open(name, scanner->getPlace(), stream);
    while (rc == EMFILE && scanner->suspendHighest())
        rc = containing->open(name, scanner->getPlace(), stream);
    if (stream && stream->descriptor() >= scanner->getFirstReserved())
        static_cast<void>(scanner->suspendHighest());
    return rc;
}

std::unique_ptr<DirectoryStream> DirectoryReaderUnix::Open(const std::string& path) {
    TraceScope scope("DirectoryReaderUnix::Open");
    const bool fits = scanner->getLocalPath() ? scanner->localPathFits(path, kOpenLength, 0)
                                              : Scanner::ScannerInitOpen(path, kOpenLength);
    if (!fits) {
        if (scanner->getLocalPath())  // the other one has reported it
            logMsg(message::STA0139W, {path});
        return nullptr;
    }

    std::unique_ptr<DirectoryStream> stream;
    int rc = 0;
    if (firstReader) {
        rc = openRoot(scanner->localPathOf(path), stream);
    } else {
        const char* const name = path.c_str() + path.rfind('/') + 1;
        rc = openChild(name, stream);
    }
    if (rc != 0) {
        if (isShortage(rc))  // no fault of the file system
            scanner->noteLoss();
        trTrace(naMin, ">> opendir() failed on %s \n", path.c_str());
        trTrace(naMin, "%s\n", errnoText(rc).c_str());
        logMsg(message::STA0121E, {path});
        return nullptr;
    }
    trTrace(naMin, ">> opendir() succeed on %s\n", path.c_str());
    return stream;
}

bool DirectoryReaderUnix::NextDirEntry(std::int16_t /*fsType*/) {
    TraceScope scope("DirectoryReaderUnix::NextDirEntry");
    for (;;) {
        if (agentStop) [[unlikely]] {
            traceCaughtSignal();
            trTrace(naMin, "DirectoryReaderWin32::NextDirEntry() : agentStop is true");
            throwScanAbort("Scan abort initiated by Server -> terminating scan");
        }
        if (!handle)
            break;
        const int rc = handle->next(entryName);
        if (rc != 0) {
            trTrace(naMin, ">> readdir() failed on %s: %s\n", scanner->getPath().c_str(),
                    errnoText(rc).c_str());
            logMsg(message::STA0121E, {scanner->getPath()});
            scanner->noteLoss();
        }
        if (rc != 0 || !entryName)
            break;
        if (std::strcmp(entryName, ".") == 0 || std::strcmp(entryName, "..") == 0)
            continue;
        if (scanner->getBounds().passesOver(entryName))
            continue;
        scanner->ScannerFinishOffNextEntry(entryName);
        return true;
    }
    endOfDirectory();
    return false;
}

void DirectoryReaderUnix::endOfDirectory() {
    TraceScope scope("DirectoryReaderUnix::endOfDirectory");
    const std::string& path = scanner->getPath();
    const std::string& root = scanner->getRootPath();
    if (scanner->getLevel() == 0 &&
        (path == root || root.compare(0, root.size() - 1, path) == 0))
        return;
    const std::size_t slash = path.rfind('/');
    if (slash != std::string::npos)
        scanner->setPath(path.substr(0, slash > 0 ? slash : 1));
}

std::optional<EntryIdentity> DirectoryReaderUnix::Stat(FileAttributes* file) {
    TraceScope scope("DirectoryReaderUnix::Stat");
    FileInfo info;
    info.scanner = scanner;
    info.stream = handle.get();
    info.entryName = entryName;
    info.name = file->faName.c_str();
    info.nameLength = file->faName.size();

    const LocalPathInfo* const local = scanner->getLocalPath();
    if (local && !scanner->localPathFits(file->faName, kStatLength,
                                         local->maxLength - local->localText.size())) {
        logMsg(message::STA0139W, {file->faName});
        return std::nullopt;
    }
    if (!scanner->Stat(info)) {
        trTrace(naMin, "Stat() failed on %s ... returning -1\n", info.name);
        return std::nullopt;
    }
    if (local)
        trTrace(naMax, ">> Updated remote path to %s\n", info.name);
    ScannerFinishOffStat(file, &info);
    return info.stat.identity;
}
