#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/unx/ownFile.h"
#include "common/unx/systemCalls.h"
#include "common/ut/LogRecord.h"
#include "common/ut/TraceScope.h"
#include "common/ut/fileParts.h"
#include "common/ut/logLayout.h"
#include "common/ut/text.h"

// Pruning: a log without a limit loses its oldest lines when it is opened.

namespace {

constexpr std::size_t kMaxLine = 511;  // bytes of a line that are read as one

/// How far a log is to be pruned.
struct Cut {
    std::uint64_t offset = 0;       // of the first line that stays
    unsigned long linesPruned = 0;  // before it
    unsigned long linesRead = 0;
};

/// Looks for the first line that is young enough; lines without a date before it go too.
bool findCut(int log, std::uint32_t retainDays, Cut& cut) {
    std::string piece;
    while (readFileAt(log, cut.offset, kMaxLine, piece)) {
        if (piece.empty())
            return true;
        ++cut.linesRead;
        long days = 0;
        if (daysSince(piece, days) && days <= static_cast<long>(retainDays))
            return true;
        const std::size_t lineEnd = piece.find('\n');
        cut.offset += lineEnd == std::string::npos ? piece.size() : lineEnd + 1;
        ++cut.linesPruned;
    }
    return false;
}

/// The file that holds the copy while a log is pruned, removed at the end. Locked: other
/// processes may prune logs of the same directory.
class Temporary {
public:
    explicit Temporary(const std::string& logPath)
        : path(logPath.substr(0, logPath.rfind('/') + 1) + "kelprune.log"),
          file(openOwnFile(path.c_str(), O_RDWR | O_CREAT, 0600)) {
        if (!file)
            return;
        busy = lockf(file.get(), F_TLOCK, 0) != 0;
        if (busy || !cutFile(file.get(), 0))
            file.reset();
    }
    ~Temporary() {
        if (file && unlink(path.c_str()) != 0)
            trError("Couldn't remove temporary pruning file %s. rc = %d\n", path.c_str(),
                    errno);
    }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;

    [[nodiscard]] int get() const { return file.get(); }
    [[nodiscard]] bool inUse() const { return busy; }

private:
    const std::string path;
    UniqueFd file;
    bool busy = false;
};

std::uint64_t sizeOf(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

/// Appends what goes to the save file.
bool savePruned(int log, const Cut& cut, const std::string& saveFile) {
    const UniqueFd save = openOwnFile(saveFile.c_str(), O_WRONLY | O_CREAT, 0640);
    if (!save) {
        trError("Couldn't open save file <%s> to save pruned log entries.\nerrno = %d, %s\n",
                printable(saveFile).c_str(), errno, errnoText(errno).c_str());
        return false;
    }
    const bool saved = copyFilePart(log, 0, cut.offset, save.get(), sizeOf(save.get()));
    if (!saved)
        trError("error writing to saved pruning recs file.\nerrno = %d, %s\n", errno,
                errnoText(errno).c_str());
    if (sizeOf(save.get()) == 0) {
        const int rc = unlink(saveFile.c_str());
        if (rc == 0)
            trTrace(naMid, "Empty prune log deleted from directory\n");
        else
            trError("Couldn't remove empty pruned log. rc = %d\n", rc);
    }
    return saved;
}

/// Writes what stays from the copy over the log, which does not append meanwhile: nobody else
/// does, the lock keeps them out.
bool copyBack(int log, const std::string& path, int copy) {
    const int flags = fcntl(log, F_GETFL);
    const std::uint64_t size = sizeOf(copy);
    const bool copied = flags != -1 && fcntl(log, F_SETFL, flags & ~O_APPEND) == 0 &&
                        copyFilePart(copy, 0, size, log, 0) && cutFile(log, size);
    const int error = errno;
    if (fcntl(log, F_SETFL, flags | O_APPEND) == 0 && copied)
        return true;
    errno = error;
    trError(
        "Couldn't copy from temp file back to <%s> after pruning. errno = %d, %s\n"
        "original log not pruned.",
        printable(path).c_str(), errno, errnoText(errno).c_str());
    return false;
}

/// Takes the lines before the cut out of the log; at a later opening, if another process
/// prunes a log of this directory.
bool rewrite(int log, const std::string& path, const Cut& cut, const std::string& saveFile) {
    const Temporary temporary(path);
    if (temporary.inUse())
        return true;
    if (temporary.get() < 0) {
        trError("Couldn't open temp file <%s> for pruning.\nerrno = %d, %s\n",
                printable(path).c_str(), errno, errnoText(errno).c_str());
        return false;
    }
    if (!saveFile.empty() && !savePruned(log, cut, saveFile))
        return false;
    if (!copyFilePart(log, cut.offset, sizeOf(log), temporary.get(), 0)) {
        trError("error writing to temp pruning file.\nerrno = %d, %s\n", errno,
                errnoText(errno).c_str());
        return false;
    }
    return copyBack(log, path, temporary.get());
}

}  // namespace

int logPrune(LogRecord& record, const std::string& path, const std::string& saveFile,
             std::uint32_t retainDays) {
    FoundationScope scope("logPrune");
    const int log = record.stream.get();
    record.failed = false;
    Cut cut;
    if (!findCut(log, retainDays, cut)) {
        trError("Couldn't open <%s> for pruning. errno = %d, %s\n", path.c_str(), errno,
                errnoText(errno).c_str());
        record.failed = true;
        return -1;
    }
    if (cut.linesPruned == 0)
        return 0;
    trTrace(naMax, "Log Pruner started.\nLog Retention Days = %u.\n", retainDays);
    // While another process writes a line, or prunes, the upkeep is left to a later opening.
    if (uninterrupted([log] { return flock(log, LOCK_EX | LOCK_NB); }) == 0) {
        cut = Cut();
        record.failed = !findCut(log, retainDays, cut) ||
                        (cut.linesPruned > 0 && !rewrite(log, path, cut, saveFile));
        const int error = errno;
        flock(log, LOCK_UN);
        errno = error;
    }
    trTrace(naMax, "Log Pruner: %lu lines processed. %lu lines pruned.\nLog Pruner finished.\n",
            cut.linesRead, cut.linesPruned);
    return record.failed ? -1 : 0;
}
