#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Common/InetAddress.h"
#include "Common/ListElement.h"
#include "Scan/FileType.h"
#include "Scan/Selection.h"

class Activator;
class AgentScan;
class CuStatDef;
class DirectoryReaderFactory;
class FileAction;
class Filesystem;
class GenericPrint;
class MonDirAccum;
class MonDirSpec;
class Mounts;
struct NasFiler;
class ResultsByFS;
class UberTable;
class UnixUserTable;

/// Turns a request into results: finds what is mounted, ties statistics and monitored
/// directories to the file systems they apply to, walks the file systems one at a time,
/// and writes the results of each as soon as its walk ends. A file system that fails
/// never stops the others. Scan thread only; one object serves one scan.
///
///     FilesystemScan scan;
///     scan.setGenericPrint(&print);
///     code = scan.doScan(request, nfsTimeout);
class FilesystemScan : public Object {
public:
    /// The compiled filter of a statistic, at one depth.
    class Tree : public ListElement {
    public:
        Tree() noexcept : ListElement("Tree") {}

        std::unique_ptr<SelectNode> selectNode;
        CuStatDef* statistic = nullptr;  // not owned
    };

    /// The fact that a statistic applies to a place.
    class Assoc : public ListElement {
    public:
        Assoc() noexcept : ListElement("Assoc") {}

        Tree* tree = nullptr;            // not owned
        ResultsByFS* results = nullptr;  // not owned; null below a MonDirSelection
    };

    /// A monitored directory that lies on one file system.
    class MonDirSelection : public ListElement {
    public:
        MonDirSelection() noexcept : ListElement("MonDirSelection") {}
        ~MonDirSelection() override { deleteList(associations); }
        MonDirSelection(const MonDirSelection&) = delete;
        MonDirSelection& operator=(const MonDirSelection&) = delete;

        std::int32_t depth = 0;               // components below the file system's root
        ListElement* associations = nullptr;  // owned Assocs, newest first; of a representative
        MonDirSpec* dirSpec = nullptr;        // not owned
        MonDirSelection* representative = nullptr;  // not owned; first of this depth
    };

    /// A requested file system that is mounted and has told its space figures.
    class FSRef : public ListElement {
    public:
        FSRef() noexcept : ListElement("FSRef") {}
        ~FSRef() override { deleteList(associations); }
        FSRef(const FSRef&) = delete;
        FSRef& operator=(const FSRef&) = delete;

        Filesystem* filesystem = nullptr;  // not owned
        // Owned, newest first: `monDirCount` MonDirSelections, then Assocs.
        ListElement* associations = nullptr;
        std::int32_t associationCount = 0;
        std::int32_t monDirCount = 0;
        std::int32_t depthCount = 0;            // distinct depths of the selections
        ResultsByFS* summaryResults = nullptr;  // not owned; of the built-in statistic
        std::string mountPath;                  // where it is mounted here
    };

    FilesystemScan();
    ~FilesystemScan() override;
    FilesystemScan(const FilesystemScan&) = delete;
    FilesystemScan& operator=(const FilesystemScan&) = delete;

    /// `print` must outlive the scan.
    void setGenericPrint(GenericPrint* print) { genericPrint = print; }

    /// Walks read ahead with so many helper threads; 0 for none.
    void setReadAhead(std::int32_t helpers) { readAhead = helpers; }

    /// Runs the scan: 0; 4 if something was skipped or failed and was reported; 12 if there
    /// is nothing to scan. `timeout` is in seconds, 0 for none. Failures of writing and a
    /// request to stop leave as exceptions.
    [[nodiscard]] std::int32_t doScan(AgentScan* request, std::int32_t timeout);

    // The arrangement of a request, in FilesystemScanArrange.cpp.

    /// Puts local file systems first, in their order, and behind them those of filers: tree
    /// by tree, filer by filer, each filer's in reverse order, so that a filer is walked in
    /// one run. Returns the new head.
    [[nodiscard]] static Filesystem* arrangeFilesystems(Filesystem* head);

    /// The filer of the list that is the same computer; else puts `pToAdd`, which must not be
    /// in a list, at its end. Raises GenericException for null.
    [[nodiscard]] static NasFiler* maybeAddToList(NasFiler* pHead, NasFiler* pToAdd);
    static void sortFilesystemsByID(AgentScan* request);

    /// True if the path holds a mask; also stored in the spec.
    static bool maskedPath(MonDirSpec* dirSpec);

    /// The slashes of a path, one at its end left out.
    struct Slashes {
        std::size_t start = 0;   // just behind the last of them
        std::size_t length = 0;  // of the path without the one at its end
        std::int32_t count = 0;
    };
    [[nodiscard]] static Slashes findSlashes(const std::string& path);

    /// The path with every backslash as a slash, a doubled one as a single slash.
    [[nodiscard]] static std::string normalisedPath(std::string path);

    /// Depth of the directory below the file system's root if it lies there, else -1.
    /// `root` ends in "/".
    [[nodiscard]] static std::int32_t depthBelow(const std::string& root,
                                                 const MonDirSpec& dirSpec);

    // What is mounted where, in FilesystemScanMounts.cpp.

    using MountsMap = std::map<std::string, std::shared_ptr<Mounts>>;  // by mount key

    /// Fills the map with the host's mounts: 0, or 4 after a failure that was reported.
    [[nodiscard]] std::int32_t makeMountsMap(MountsMap& map, bool resolve);

    /// Adds the rows of the table; of one key the first row counts. The key of an import is
    /// its device, "host:/export", the host in lower case; that of any other row its mount
    /// point. With `resolve` an import is found under the address of its host too. False if
    /// a row was not understood, which is reported, or there is no table.
    [[nodiscard]] bool handleMounts(MountsMap& map, Mounts& table, bool resolve);

    /// The keys under which the file system may be mounted, best first. With a filer this
    /// asks for the address of the host in `nfIPAddress`.
    [[nodiscard]] std::vector<std::string> candidateKeys(const Filesystem& filesystem);

    /// The mount of the first key that has one, null if none has. Owned by the map.
    [[nodiscard]] static Mounts* findMount(const MountsMap& map,
                                           const std::vector<std::string>& keys);

    /// The mount point, with the filer's name behind it in brackets.
    [[nodiscard]] static std::string qualifiedFSName(const Filesystem& filesystem);

private:
    struct Actions;

    // The steps of doScan.
    void matchFilesystems(const MountsMap& mountsMap);
    void bindStatistics();
    [[nodiscard]] std::int32_t lock();
    void bindDirectories();
    void bindDirectoryStatistics();
    void walkFilesystems();
    void clearUp();

    [[nodiscard]] const InetAddress::Host& lookUpOnce(const std::string& host);
    [[nodiscard]] std::string addressForm(const std::string& host);
    void appendFSRef(Filesystem* filesystem, const Mounts& mount);
    void bindStatistic(CuStatDef* statistic);
    void bindNamedFilesystems(Tree* tree);
    void bindAllFilesystems(Tree* tree);
    [[nodiscard]] Tree* addTree(CuStatDef* statistic);
    static void newFSAssoc(FSRef* fsRef, CuStatDef* statistic, Tree* tree,
                           ResultsByFS* results);
    void bindDirectoriesOf(FSRef* fsRef);
    void bindDirectoryStatistic(CuStatDef* statistic);
    [[nodiscard]] std::unique_ptr<MonDirSelection> makeDirSel(MonDirSpec* dirSpec,
                                                              std::int32_t depth);
    void walkFilesystem(FSRef* fsRef);
    [[nodiscard]] std::int32_t reportLookUps(const Filesystem& filesystem);
    [[nodiscard]] std::unique_ptr<Actions> makeActions(const FSRef& fsRef) const;
    [[nodiscard]] static ListElement* addDirectoryActions(const FSRef& fsRef, Actions& actions);
    [[nodiscard]] static MonDirAccum* addChain(const MonDirSelection& representative,
                                               Filesystem* filesystem, Actions& actions);
    static void appendActivators(std::vector<std::unique_ptr<Activator>> activators,
                                 Actions& actions);
    void completeSummary(const FSRef& fsRef);
    void printData(const FSRef& fsRef);
    void removeReferencesTo(const Filesystem* filesystem);
    void unlockOne(const Filesystem* filesystem);

    GenericPrint* genericPrint = nullptr;  // not owned
    AgentScan* scanObject = nullptr;       // not owned
    std::int32_t nfsTimeout = 0;           // seconds, 0 for none
    std::int32_t readAhead = 0;            // helper threads of a walk
    std::int32_t runningCode = 0;          // only rises
    std::int32_t goodFilesystems = 0;
    ListElement* fsAnchor = nullptr;                 // owned FSRefs in request order
    ListElement* lastFSRef = nullptr;                // not owned, the tail of that list
    ListElement* trees = nullptr;                    // owned Trees, newest first
    std::map<std::int32_t, FSRef*> fsByID;           // members not owned
    std::vector<Filesystem*> fakeFilesystems;        // members not owned
    std::set<std::int32_t> lockedFilesystems;        // nothing locks here: see ExecScan::lock()
    std::map<std::string, InetAddress::Host> hosts;  // asked for so far, by lower-case name
    Selection selectionCompiler;
    FileTypeMap fileTypeMap;  // shared by all statistics of all walks
    std::unique_ptr<UberTable> uberTable;
    std::unique_ptr<UnixUserTable> userTable;
    std::unique_ptr<DirectoryReaderFactory> factory;
    // Taken out of the request after a failed walk, but referred to until the scan ends.
    std::vector<std::unique_ptr<ResultsByFS>> parkedResults;
    std::vector<std::unique_ptr<CuStatDef>> parkedStatistics;
};
