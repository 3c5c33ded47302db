#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Scan/DirectoryReader.h"
#include "Scan/FileType.h"
#include "Scan/unix/EntryStat.h"
#include "Scan/unix/WalkBounds.h"

class FileAction;
class FileAttributes;
class Filesystem;
struct FileInfo;
struct SelectNode;
class UserTable;

/// How reported paths map to paths that this host can open: the first `remoteLength`
/// characters of a reported path stand for `localText`.
struct LocalPathInfo {
    std::size_t remoteLength = 0;
    std::size_t maxLength = 0;  // the larger of that and the length of localText
    std::string localText;      // the local mount path
};

/// Walks one file system depth first and presents each entry, with its attributes, to the
/// actions whose filter selects it:
///
///     ScannerUnix scanner(filesystem, actions, filters, userTable, factory, mount, 0);
///     const std::int32_t rc = scanner.scan();
///
/// The walk is a loop over an explicit stack of readers, one per level. An entry costs no
/// allocation: its record and the text of its path are used again and again. Scan thread
/// only; one object serves one walk.
class Scanner {
public:
    /// `actions` and `filters` are parallel. Everything pointed to must outlive the walk.
    Scanner(Filesystem* pFilesystem, const std::vector<FileAction*>& fileActions,
            const std::vector<const SelectNode*>& filters, UserTable* users,
            DirectoryReaderFactory* readerFactory, std::int32_t timeout);
    virtual ~Scanner();
    Scanner(const Scanner&) = delete;
    Scanner& operator=(const Scanner&) = delete;

    /// Walks the file system: 0; 4 if something was survived or the file system could not
    /// be entered; 8 after a failure that ended the walk; -1 without a first reader. Lets
    /// a ScanAbortException through.
    [[nodiscard]] std::int32_t scan();

    /// Reads ahead with so many helper threads; 0, the default, for none. Before scan().
    void setReadAhead(std::int32_t helpers) { readAhead = helpers; }
    [[nodiscard]] std::int32_t getReadAhead() const { return readAhead; }

    /// Start of the walk, seconds since the epoch.
    [[nodiscard]] std::int32_t getScanTime() const { return scanTime; }
    [[nodiscard]] Filesystem* getFilesystem() const { return filesystem; }

    /// The file types of the whole scan, which must outlive the walk; null if it has none.
    void setFileTypeMap(FileTypeMap* map) { fileTypeMap = map; }
    [[nodiscard]] FileTypeMap* getFileTypeMap() const { return fileTypeMap; }

    // What follows is for the directory readers.

    /// Reads the attributes of the entry that `info` names into it; false after a failure,
    /// which is reported.
    [[nodiscard]] virtual bool Stat(FileInfo& info) = 0;
    [[nodiscard]] virtual const LocalPathInfo* getLocalPath() const = 0;
    virtual void setLocalPath(const std::string& mountPath) = 0;
    virtual void freeLocalPath() = 0;

    /// True if the path to open for `reported` has at most `room` characters, of which so
    /// many are `taken`.
    [[nodiscard]] bool localPathFits(const std::string& reported, std::size_t room,
                                     std::size_t taken) const;
    [[nodiscard]] std::string localPathOf(const std::string& reported) const;

    /// True if the path has at most `room` characters; reports one that is too long.
    [[nodiscard]] static bool ScannerInitOpen(const std::string& directory, std::size_t room);

    /// Makes the current file's path that of the entry `name` of the current directory.
    void ScannerFinishOffNextEntry(const char* name);

    /// Runs the filters on an entry and notes the actions that want it.
    void selectEntry(const FileInfo* info);

    /// Says where the entry at hand lies. One that lies elsewhere, or has no attributes,
    /// becomes FA_ELSEWHERE; the latter loses what is left of the entry before it.
    void placeEntry(const std::optional<EntryIdentity>& place);

    /// The open directory that holds the current one.
    [[nodiscard]] DirectoryStream* containingStream() const;

    /// Descriptors from this number on are to be left to others.
    [[nodiscard]] int getFirstReserved() const { return firstReserved; }

    /// Has the highest directory of the walk that is open, but not the containing one, give up
    /// its descriptor; false if there is none that can.
    [[nodiscard]] bool suspendHighest();

    /// Opens the directory above the current one again if it has given its descriptor up.
    /// Before the current one is closed.
    void resumeContaining();

    /// Where the walk takes place, from the moment when its root has attributes.
    [[nodiscard]] const WalkPlace& getPlace() const { return rootPlace; }

    /// What the walk leaves out there.
    [[nodiscard]] const WalkBounds& getBounds() const { return bounds; }

    /// Something is missing from the figures, and was reported: the walk's code is 4 at least.
    void noteLoss();

    [[nodiscard]] const std::string& getPath() const { return path; }
    void setPath(const std::string& directory) { path = directory; }
    [[nodiscard]] const std::string& getRootPath() const { return rootPath; }
    [[nodiscard]] std::int32_t getNfsTimeout() const { return nfsTimeout; }
    [[nodiscard]] std::int32_t getLevel() const { return level; }

    /// Length of the path of the open directory at `open`, at most the level.
    [[nodiscard]] std::size_t getPathLength(std::int32_t open) const {
        return arrayReader[static_cast<std::size_t>(open)]->getPathLength();
    }
    [[nodiscard]] FileAttributes* getCurrentFile() const { return currentFile.get(); }
    [[nodiscard]] UserTable* getUserTable() const { return userTable; }

protected:
    std::unique_ptr<LocalPathInfo> localPath;  // null if both paths are the same
    std::string path;                          // the current directory
    const std::int32_t nfsTimeout;             // seconds, 0 for none
    std::int32_t readAhead = 0;                // helper threads

private:
    [[nodiscard]] std::int32_t openRoot();
    [[nodiscard]] bool statRoot();
    void walk();
    void advance();
    [[nodiscard]] bool nextGood(std::int16_t fsType);
    void decrementLevel(const std::string& oldPath);
    void storeReader(std::unique_ptr<DirectoryReader> reader);
    void fireSelected();
    void fireEntered();
    void fireLeft();
    void countEntry();
    void forgetEntry();
    [[nodiscard]] std::string plexSnapshotDirectory() const;
    [[nodiscard]] std::size_t longestPath() const;
    [[nodiscard]] bool isSnapshot() const;

    std::int32_t rc = 0;
    UserTable* userTable;                    // not owned
    const std::vector<FileAction*> actions;  // members not owned
    DirectoryReaderFactory* factory;         // not owned
    WalkPlace rootPlace;
    WalkBounds bounds;
    std::int32_t scanTime = 0;
    std::vector<std::unique_ptr<DirectoryReader>> arrayReader;  // one per level
    std::unique_ptr<FileAttributes> currentFile;
    std::int32_t level = 0;            // of the active reader; -1 ends the walk
    std::int32_t suspendedLevels = 0;  // from the root on, without a descriptor
    int firstReserved = INT_MAX;
    const std::vector<const SelectNode*> selectNodes;  // parallel to actions, not owned
    std::vector<std::uint32_t> selected;               // indices of actions, ascending
    Filesystem* filesystem;                            // not owned
    FileTypeMap* fileTypeMap = nullptr;                // not owned
    std::int32_t selectedCount = 0;                    // valid members of selected
    std::string rootPath;                              // ends in "/", or in a zero character
    std::int64_t total = 1;                            // entries seen; the root is one
    std::int64_t sinceReport = 1;
};
