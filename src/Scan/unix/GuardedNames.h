#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/vfs.h>

#include "Scan/unix/EntryStat.h"
#include "Scan/unix/NamePosition.h"
#include "Scan/unix/guardedSteps.h"
#include "common/unx/StatContext.h"
#include "common/unx/UniqueFd.h"
#include "common/unx/virtstat.h"
#include "common/ut/TraceScope.h"

/// A directory as a helper thread opens it and reads the names in it.
///
///     auto names = std::make_shared<GuardedNames>(nullptr, path);
///     guardedCall(names, limit, error);     // opens it, with the first names
///     ... names->take() until that is null ...
///     names->startBatch();                  // and so on, until nothingLeft()
///
/// A trip to the helper thread ends early when the file system is slow. After a time-out the
/// helper thread still owns the object, see GuardedWork, and the walk goes on with restAfter().
class GuardedNames : public GuardedWork {
public:
    using SharedFd = std::shared_ptr<const UniqueFd>;

    /// The directory `text` in the directory `parentFd`, which must be on the file system of
    /// the walk; without a parent a path, the root of a walk.
    GuardedNames(SharedFd parentFd, std::string text, const WalkPlace& where = {});

    int run(StatContext& context) override;
    [[nodiscard]] const char* name() const override { return directoryName.c_str(); }
    [[nodiscard]] std::string place() const override;

    // What follows is for the caller's thread, while no call runs.

    [[nodiscard]] bool isOpen() const { return opened; }

    /// Why it did not open, an errno value; 0 if the helper thread cannot tell.
    [[nodiscard]] int openFailure() const { return openError; }
    [[nodiscard]] SharedFd descriptor() const { return fd; }

    /// The directory's own attributes, as of its opening.
    [[nodiscard]] const EntryStat& ownAttributes() const { return self; }

    /// Of a root: see DirectoryStream::deviceTells().
    [[nodiscard]] bool deviceTells() const { return tells; }

    /// The next name that is known, or null. In the object, valid until startBatch().
    [[nodiscard]] const char* take();

    /// True if no name is left; namesFailure() tells why.
    [[nodiscard]] bool nothingLeft() const { return atEnd && position == filled; }

    /// Why reading names ended, an errno value; 0 at the end of the directory.
    [[nodiscard]] int namesFailure() const { return namesError; }

    /// Makes room for the next names, if all were taken.
    void startBatch();

    /// Lets names that ended by a failure be asked for once more.
    void askAgain() {
        namesError = 0;
        atEnd = false;
    }

    /// Gives up the descriptor until reopened(), of which the object needs to know nothing but
    /// this; no child may be opened meanwhile. False if the directory cannot go on later.
    [[nodiscard]] bool suspend();

    /// The parent's descriptor is not needed any more.
    void forgetParent() { parent.reset(); }

    /// What is left to do after a call that failed with `error`: the names that are known, and
    /// no others.
    [[nodiscard]] std::shared_ptr<GuardedNames> restAfter(int error) const;

protected:
    // Large enough that most directories take one call, small enough for 200 levels.
    static constexpr std::size_t kBufferSize = 32768;

    /// Takes over all that is known after a call that failed.
    void continueFrom(const GuardedNames& failed);

    /// Takes over all that is known of a suspended directory, which is opened by this object
    /// and must be the same.
    void resumeFrom(const GuardedNames& suspended);

    /// No further names are read, for that failed.
    void endNames(int error);

    // Steps of the helper thread; false if nobody waits for them any more.
    [[nodiscard]] bool openIfClosed(StatContext& context);
    [[nodiscard]] bool readNames(StatContext& context);

    [[nodiscard]] bool hasRoomForNames() const;

    /// The name at the position, with the length of its record; null if none is known.
    [[nodiscard]] const char* nextName(std::size_t& length) const;

    SharedFd parent;  // null for a root
    const std::string directoryName;
    const WalkPlace walkPlace;
    std::shared_ptr<UniqueFd> fd;  // shared with the directories that are opened in it
    EntryIdentity mustBe;          // what a suspended directory is found again by; else empty
    NamePosition resumeAt;         // its last name, until further names are read
    bool isFound = true;           // it was gone to

    // Changed by StatContext::publish() alone while a call runs.
    bool opened = false;
    bool tells = true;
    bool atEnd = false;  // no further names to be read
    int openError = 0;
    int namesError = 0;
    EntryStat self;
    std::size_t position = 0;  // in the buffer, of the first record that was not taken
    std::size_t filled = 0;    // bytes in the buffer

    // Written by the system, and beyond what is published.
    StatusRecord status;
    struct statfs space;
    alignas(8) std::array<char, kBufferSize> buffer;  // records of getdents64

private:
    [[nodiscard]] bool open(StatContext& context);
    [[nodiscard]] bool identify(StatContext& context);
    [[nodiscard]] int judge(const EntryStat& found) const;
    [[nodiscard]] bool findNames(StatContext& context);
};

/// Lets the helper thread work on a directory: 0 or an errno value. If that fails, what goes on
/// is the rest. Caller's thread.
template <class Directory>
int advance(std::shared_ptr<Directory>& directory, std::chrono::nanoseconds limit) {
    TraceScope scope("advance");
    int error = 0;
    if (guardedCall(directory, limit, error) == 0)
        return 0;
    if (directory->isOpen())
        directory = directory->restAfter(error);
    return error;
}

/// Opens a directory that is not open: 0 or an errno value. Caller's thread.
template <class Directory>
int openInTime(std::shared_ptr<Directory>& directory, std::chrono::nanoseconds limit) {
    TraceScope scope("openInTime");
    const int error = advance(directory, limit);
    // What hung may have come after the opening: the walk then meets it at its place.
    if (directory->isOpen())
        return 0;
    return error != 0 ? error : directory->openFailure();
}
