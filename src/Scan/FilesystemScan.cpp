#include "Scan/FilesystemScan.h"

#include <algorithm>

#include "Common/CommonAgent.h"
#include "Common/ComputerID.h"
#include "Common/LogManager.h"
#include "Probe/Filesystem.h"
#include "Probe/Mounts.h"
#include "Scan/Activator.h"
#include "Scan/AgentScan.h"
#include "Scan/CuStatAccum.h"
#include "Scan/CuStatDef.h"
#include "Scan/CuStatResults.h"
#include "Scan/DirectoryReader.h"
#include "Scan/MonDirAccum.h"
#include "Scan/MonDirSpec.h"
#include "Scan/ResultsByFS.h"
#include "Scan/UberTable.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/UnixUserTable.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

constexpr std::int32_t kSkipped = 4;
constexpr std::int32_t kAborted = 8;
constexpr std::int32_t kNothingToScan = 12;

/// A line of a message that lists statistics.
std::string listLine(const std::string& label) {
    static const std::string kIndent = "\n" + std::string(25, ' ');
    return kIndent + printable(label);
}

void logList(const MessageId& id, const std::string& list) {
    if (!list.empty())
        logMsg(id, {MessageInsert::lines(list)});
}

bool namesFiler(const Filesystem* head) {
    while (head && !head->filer)
        head = head->next;
    return head != nullptr;
}

template <class T>
void pushFront(ListElement*& head, std::unique_ptr<T> member) {
    member->nextElement = head;
    head = member.release();
}

}  // namespace

/// The actions of one walk and, at equal positions, their filters.
struct FilesystemScan::Actions {
    std::vector<std::unique_ptr<FileAction>> owned;
    std::vector<FileAction*> actions;        // the same objects
    std::vector<const SelectNode*> filters;  // not owned

    void add(std::unique_ptr<FileAction> action, const SelectNode* filter) {
        actions.push_back(action.get());
        owned.push_back(std::move(action));
        filters.push_back(filter);
    }
};

FilesystemScan::FilesystemScan() : Object("Object") {}

FilesystemScan::~FilesystemScan() {
    TraceScope scope("FilesystemScan::~FilesystemScan");
    deleteList(fsAnchor);
    deleteList(trees);
}

std::int32_t FilesystemScan::doScan(AgentScan* request, std::int32_t timeout) {
    TraceScope scope("FilesystemScan::doScan");
    scanObject = request;
    nfsTimeout = std::max(timeout, 0);

    // 1. Local file systems first, then filer by filer.
    scanObject->setFilesystems(arrangeFilesystems(scanObject->getFilesystems()));

    // 2. What is mounted on this host.
    MountsMap mountsMap;
    if (!CommonAgentFactory::getCommonAgent()->isWindows) {
        trTrace(naMin,
                "(if(!CommonAgentFactory::getCommonAgent()->isWindows)) == TRUE. Calling "
                "<makeMountsMap(...)> ...");
        // Names of hosts matter to a request that names a filer alone.
        runningCode = makeMountsMap(mountsMap, namesFiler(scanObject->getFilesystems()));
    }
    if (mountsMap.empty())
        return kNothingToScan;

    // 3. and 4. Which requested file systems are among it.
    matchFilesystems(mountsMap);
    if (!fsAnchor) {
        trTrace(naMin, "no filesystems.");
        logMsg(message::STA0647E);
        return kNothingToScan;
    }
    mountsMap.clear();

    // 5. Statistics of file systems.
    bindStatistics();

    // 6. A hook; the locks of a job are taken before its scan.
    const std::int32_t lockStatus = lock();
    if (lockStatus != 0) {
        trTrace(naMin, "return value <lockStatus> == %d. Leaving method.", lockStatus);
        return lockStatus;
    }

    // 7. and 8. Monitored directories and their statistics.
    bindDirectories();
    bindDirectoryStatistics();
    // From here on nothing is bound any more.

    // 9. Shared by all walks.
    uberTable = std::make_unique<UberTable>();
    userTable = std::make_unique<UnixUserTable>(*uberTable, nfsTimeout);
    factory = std::make_unique<DirectoryReaderFactory>();

    // 10. The walks.
    walkFilesystems();

    // 11. Nothing of a walk is left but the results.
    clearUp();
    return goodFilesystems < 0 ? kAborted : runningCode;
}

void FilesystemScan::matchFilesystems(const MountsMap& mountsMap) {
    TraceScope scope("FilesystemScan::matchFilesystems");
    for (Filesystem* filesystem = scanObject->getFilesystems(); filesystem;
         filesystem = filesystem->next) {
        const bool wasFake = filesystem->fsType == FS_FAKE;
        trTrace(naMin, "CommonAgentFactory::getCommonAgent() is unix!");
        if (nfsTimeout != 0)
            trTrace(naMin, "NFS Timeout enabled, timeout %d seconds\n", nfsTimeout);

        const std::vector<std::string> keys = candidateKeys(*filesystem);
        Mounts* const mount = findMount(mountsMap, keys);
        if (!mount) {
            logMsg(message::STA0103W, {keys.empty() ? std::string() : keys.front()});
            filesystem->fsScanned = false;
            runningCode = kSkipped;
            continue;
        }
        filesystem->fsScanned = mount->statFS(*filesystem, nfsTimeout) == 0;
        if (!filesystem->fsScanned) {
            runningCode = kSkipped;
            continue;
        }
        if (wasFake) {
            trTrace(naMin, "if(wasFake) == TRUE");
            fakeFilesystems.push_back(filesystem);
        }
        appendFSRef(filesystem, *mount);
    }
}

void FilesystemScan::appendFSRef(Filesystem* filesystem, const Mounts& mount) {
    TraceScope scope("FilesystemScan::appendFSRef");
    auto fsRef = std::make_unique<FSRef>();
    fsRef->filesystem = filesystem;
    fsRef->mountPath = mount.mountPoint;
    fsByID[filesystem->fsID] = fsRef.get();
    ++goodFilesystems;
    ListElement*& end = lastFSRef ? lastFSRef->nextElement : fsAnchor;
    lastFSRef = fsRef.release();
    end = lastFSRef;
}

void FilesystemScan::bindStatistics() {
    TraceScope scope("FilesystemScan::bindStatistics");
    trTrace(
        naMin,
        "for(dCurrent = scanObject->asStats; dCurrent != NULL; dCurrent=dCurrent->sdNext)...");
    std::string list;
    for (CuStatDef* statistic = scanObject->getStatistics(); statistic;
         statistic = statistic->sdNext) {
        // Backup dates are known on Windows only.
        if (!CommonAgentFactory::getCommonAgent()->isWindows)
            statistic->sdGroupByBackup = false;
        if (statistic->sdType == SD_DIRECTORY)
            continue;
        bindStatistic(statistic);
        if (statistic->sdType != SD_BUILTIN)
            list += listLine(statistic->label());
        statistic->setWhereClause("");
    }
    logList(message::STA0026I, list);
    fsByID.clear();
}

void FilesystemScan::bindStatistic(CuStatDef* statistic) {
    TraceScope scope("FilesystemScan::bindStatistic");
    selectionCompiler.setFilter(statistic->getWhereClause());
    if (!selectionCompiler.compile(statistic->label(), 0)) {
        runningCode = kSkipped;
        return;
    }
    Tree* const tree = addTree(statistic);
    if (statistic->sdType == SD_NAMED_FILESYSTEMS)
        bindNamedFilesystems(tree);
    else
        bindAllFilesystems(tree);
}

/// The filter that was compiled last, for the statistic.
FilesystemScan::Tree* FilesystemScan::addTree(CuStatDef* statistic) {
    TraceScope scope("FilesystemScan::addTree");
    auto tree = std::make_unique<Tree>();
    tree->selectNode = selectionCompiler.takeRoot();
    tree->statistic = statistic;
    pushFront(trees, std::move(tree));
    return static_cast<Tree*>(trees);
}

/// The definition has given the statistic results for the file systems it names; those
/// whose file system is not walked are taken out.
void FilesystemScan::bindNamedFilesystems(Tree* tree) {
    TraceScope scope("FilesystemScan::bindNamedFilesystems");
    ResultsByFS** link = &tree->statistic->sdResults;
    while (ResultsByFS* const member = *link) {
        const Filesystem* const source = member->filesystem();
        const auto found = source ? fsByID.find(source->fsID) : fsByID.end();
        if (source && found == fsByID.end()) {
            *link = member->nextResultsByFS;
            delete member;
            continue;
        }
        if (source)
            newFSAssoc(found->second, tree->statistic, tree, member);
        link = &member->nextResultsByFS;
    }
}

void FilesystemScan::bindAllFilesystems(Tree* tree) {
    TraceScope scope("FilesystemScan::bindAllFilesystems");
    trTrace(naMin,
            "for(fsRef = fsAnchor; fsRef != NULL; fsRef = static_cast<FSRef*> "
            "(fsRef->nextElement))...");
    ResultsByFS** end = &tree->statistic->sdResults;
    while (*end)
        end = &(*end)->nextResultsByFS;
    for (ListElement* member = fsAnchor; member; member = member->nextElement) {
        auto* const fsRef = static_cast<FSRef*>(member);
        auto results = std::make_unique<ResultsByFS>();
        results->rfDirOrFS = fsRef->filesystem;
        *end = results.release();
        newFSAssoc(fsRef, tree->statistic, tree, *end);
        end = &(*end)->nextResultsByFS;
    }
}

void FilesystemScan::newFSAssoc(FSRef* fsRef, CuStatDef* statistic, Tree* tree,
                                ResultsByFS* results) {
    TraceScope scope("FilesystemScan::newFSAssoc");
    if (!fsRef || !statistic || !tree || !results) {
        trTrace(naMin, "at least one of the method's parameter is is NULL.");
        return;
    }
    auto assoc = std::make_unique<Assoc>();
    assoc->tree = tree;
    assoc->results = results;
    pushFront(fsRef->associations, std::move(assoc));
    ++fsRef->associationCount;
    if (statistic->sdType == SD_BUILTIN)
        fsRef->summaryResults = results;
}

std::int32_t FilesystemScan::lock() {
    TraceScope scope("FilesystemScan::lock");
    trTrace(naMin, "WARNING: Nothing implemented in body of FilesystemScan::lock");
    return 0;
}

void FilesystemScan::bindDirectories() {
    TraceScope scope("FilesystemScan::bindDirectories");
    trTrace(naMin, "while ( dirSpec != NULL )...");
    for (MonDirSpec* dirSpec = scanObject->getDirectories(); dirSpec;
         dirSpec = dirSpec->getDirectories()) {
        dirSpec->setMdsPath(normalisedPath(dirSpec->getMdsPath()));
        maskedPath(dirSpec);
    }
    for (ListElement* member = fsAnchor; member; member = member->nextElement)
        bindDirectoriesOf(static_cast<FSRef*>(member));
}

void FilesystemScan::bindDirectoriesOf(FSRef* fsRef) {
    TraceScope scope("FilesystemScan::bindDirectoriesOf");
    Filesystem& filesystem = *fsRef->filesystem;
    if (!ComputerID::cachedCID)
        trTrace(naMin, "FilesystemScan::doScan(...) : ERROR: 'ComputerID::cachedCID' is NULL.");
    const std::int32_t scanningID =
        filesystem.filer ? filesystem.filer->nfComputerID : ComputerID::scanning();
    if (!filesystem.fsMountPoint.ends_with('/'))
        filesystem.fsMountPoint += '/';

    std::map<std::int32_t, MonDirSelection*> firstOfDepth;
    for (MonDirSpec* dirSpec = scanObject->getDirectories(); dirSpec;
         dirSpec = dirSpec->getDirectories()) {
        const std::int32_t computer = dirSpec->getMdsComputerID();
        if (computer > 0 && computer != scanningID && computer != filesystem.fsComputerID)
            continue;
        const std::int32_t depth = depthBelow(filesystem.fsMountPoint, *dirSpec);
        if (depth < 0)
            continue;
        trTrace(naMin, "regionMatches(0, path, (dirSpec->mdsPath), 0, length) == TRUE");

        std::unique_ptr<MonDirSelection> selection = makeDirSel(dirSpec, depth);
        const auto [first, isFirst] = firstOfDepth.try_emplace(depth, selection.get());
        selection->representative = first->second;
        if (isFirst)
            ++fsRef->depthCount;
        pushFront(fsRef->associations, std::move(selection));
        ++fsRef->associationCount;
        ++fsRef->monDirCount;
        trTrace(naMin, "Directory to Monitor: %s", dirSpec->getMdsPath().c_str());
    }
}

/// A selection of the spec. Compiles the spec's filter unless it has one: "the entry is a
/// directory, and its path matches".
std::unique_ptr<FilesystemScan::MonDirSelection> FilesystemScan::makeDirSel(
    MonDirSpec* dirSpec, std::int32_t depth) {
    TraceScope scope("FilesystemScan::makeDirSel");
    if (!dirSpec->getSelectNode()) {
        static constexpr char kDirectoryAndPath[] = {'&', '=', 'T', 0, 0, 0, 3, '=', 'F'};
        const std::string& path = dirSpec->getMdsPath();
        std::string clause(std::begin(kDirectoryAndPath), std::end(kDirectoryAndPath));
        clause += path;
        if (path.ends_with("/*"))
            clause += '?';  // keeps the mask off its own parent
        clause += '\0';
        selectionCompiler.setFilter(clause);
        if (selectionCompiler.compile(path, 0)) {
            dirSpec->setSelectNode(selectionCompiler.takeRoot());
        } else {
            logMsg(message::STA9010W, {path});
            runningCode = kSkipped;
        }
    }
    auto selection = std::make_unique<MonDirSelection>();
    selection->depth = depth;
    selection->dirSpec = dirSpec;
    return selection;
}

void FilesystemScan::bindDirectoryStatistics() {
    TraceScope scope("FilesystemScan::bindDirectoryStatistics");
    trTrace(naMin,
            "for(dCurrent = scanObject->asStats; dCurrent != NULL; dCurrent = "
            "dCurrent->sdNext)...");
    std::string list;
    for (CuStatDef* statistic = scanObject->getStatistics(); statistic;
         statistic = statistic->sdNext) {
        if (statistic->sdType != SD_DIRECTORY)
            continue;
        if (!statistic->sdCreator.empty())
            list += listLine(statistic->label());
        bindDirectoryStatistic(statistic);
    }
    logList(message::STA0027I, list);
}

/// Ties the statistic to one selection of each depth on each file system. Its clause is
/// compiled once for each depth; a depth at which it does not compile is left out.
void FilesystemScan::bindDirectoryStatistic(CuStatDef* statistic) {
    TraceScope scope("FilesystemScan::bindDirectoryStatistic");
    const std::string label = statistic->sdCreator.empty() ? "(DIR STAT)" : statistic->label();
    std::map<std::int32_t, Tree*> treeOfDepth;  // null where the clause does not compile
    for (ListElement* member = fsAnchor; member; member = member->nextElement) {
        auto* const fsRef = static_cast<FSRef*>(member);
        ListElement* place = fsRef->associations;
        for (std::int32_t i = 0; i < fsRef->monDirCount; ++i, place = place->nextElement) {
            auto* const selection = static_cast<MonDirSelection*>(place);
            if (selection->representative != selection)
                continue;
            const auto [entry, isNew] = treeOfDepth.try_emplace(selection->depth, nullptr);
            if (isNew) {
                selectionCompiler.setFilter(statistic->getWhereClause());
                if (selectionCompiler.compile(label, selection->depth))
                    entry->second = addTree(statistic);
                else
                    runningCode = kSkipped;
            }
            if (!entry->second)
                continue;
            auto assoc = std::make_unique<Assoc>();
            assoc->tree = entry->second;
            pushFront(selection->associations, std::move(assoc));
        }
    }
}

void FilesystemScan::walkFilesystems() {
    TraceScope scope("FilesystemScan::walkFilesystems");
    trTrace(naMin,
            "for(fsRef = fsAnchor; fsRef!= NULL; fsRef =static_cast<FSRef*> "
            "(fsRef->nextElement))...");
    for (ListElement* member = fsAnchor; member; member = member->nextElement)
        walkFilesystem(static_cast<FSRef*>(member));
    trTrace(naMin, "end of final loop over filesystem!");
}

void FilesystemScan::walkFilesystem(FSRef* fsRef) {
    TraceScope scope("FilesystemScan::walkFilesystem");
    Filesystem* const filesystem = fsRef->filesystem;
    logMsg(message::STA0025I, {qualifiedFSName(*filesystem)});

    const std::unique_ptr<Actions> actions = makeActions(*fsRef);
    auto scanner = std::make_unique<ScannerUnix>(filesystem, actions->actions, actions->filters,
                                                 userTable.get(), factory.get(),
                                                 fsRef->mountPath, nfsTimeout);
    scanner->setFileTypeMap(&fileTypeMap);
    scanner->setReadAhead(readAhead);
    const std::int32_t scanCode = scanner->scan();
    const std::int32_t walkCode = std::max(scanCode, reportLookUps(*filesystem));
    const bool fsGood = walkCode <= kSkipped;
    runningCode = std::max(runningCode, std::min(walkCode, kSkipped));
    completeSummary(*fsRef);
    scanner.reset();

    printData(*fsRef);
    if (!fsGood) {
        removeReferencesTo(filesystem);
        filesystem->fsScanned = false;
        unlockOne(filesystem);
        if (goodFilesystems != 0)
            --goodFilesystems;
    }
}

/// The code of a walk with all owners and groups, or without the names of some.
std::int32_t FilesystemScan::reportLookUps(const Filesystem& filesystem) {
    TraceScope scope("FilesystemScan::reportLookUps");
    const auto [owners, groups] = userTable->takeFailures();
    if (owners + groups == 0)
        return 0;
    logMsg(message::STA9001W,
           {qualifiedFSName(filesystem), std::to_string(owners), std::to_string(groups)});
    return kSkipped;
}

/// The actions of a walk, in the order of the calls: the directory statistics of each
/// depth, what arms them, and one action per statistic of the file system.
std::unique_ptr<FilesystemScan::Actions> FilesystemScan::makeActions(const FSRef& fsRef) const {
    TraceScope scope("FilesystemScan::makeActions");
    auto actions = std::make_unique<Actions>();
    const auto inodeTable = std::make_shared<InodeTable>();
    for (ListElement* member = addDirectoryActions(fsRef, *actions); member;
         member = member->nextElement) {
        const auto* const assoc = static_cast<Assoc*>(member);
        auto accum = std::make_unique<CuStatAccum>(inodeTable);
        accum->buildAccum(assoc->tree->statistic, fsRef.filesystem);
        assoc->results->rfResults = accum->takeResults().release();
        actions->add(std::move(accum), assoc->tree->selectNode.get());
    }
    return actions;
}

/// Adds the directory statistics of each depth, and behind them the activators; returns
/// the first member behind the selections.
ListElement* FilesystemScan::addDirectoryActions(const FSRef& fsRef, Actions& actions) {
    TraceScope scope("FilesystemScan::addDirectoryActions");
    std::map<std::int32_t, MonDirAccum*> chainOfDepth;  // the newest member of each
    std::vector<std::unique_ptr<Activator>> activators;
    ListElement* member = fsRef.associations;
    for (std::int32_t i = 0; i < fsRef.monDirCount; ++i, member = member->nextElement) {
        const auto* const selection = static_cast<MonDirSelection*>(member);
        const auto [chain, isNew] = chainOfDepth.try_emplace(selection->depth, nullptr);
        if (isNew)
            chain->second = addChain(*selection->representative, fsRef.filesystem, actions);
        activators.push_back(std::make_unique<Activator>(chain->second, selection->dirSpec));
    }
    appendActivators(std::move(activators), actions);
    return member;
}

/// Adds the directory statistics of one depth; returns the last one, null if there are none.
MonDirAccum* FilesystemScan::addChain(const MonDirSelection& representative,
                                      Filesystem* filesystem, Actions& actions) {
    TraceScope scope("FilesystemScan::addChain");
    MonDirAccum* newest = nullptr;
    for (ListElement* place = representative.associations; place; place = place->nextElement) {
        const Tree* const tree = static_cast<Assoc*>(place)->tree;
        auto accum = std::make_unique<MonDirAccum>(tree->statistic, filesystem, newest);
        newest = accum.get();
        actions.add(std::move(accum), tree->selectNode.get());
    }
    return newest;
}

/// Adds the activators, the newest first, each with the filter of its MonDirSpec.
void FilesystemScan::appendActivators(std::vector<std::unique_ptr<Activator>> activators,
                                      Actions& actions) {
    TraceScope scope("FilesystemScan::appendActivators");
    for (auto activator = activators.rbegin(); activator != activators.rend(); ++activator) {
        const SelectNode* const filter = (*activator)->getSelectNode();
        actions.add(std::move(*activator), filter);
    }
}
