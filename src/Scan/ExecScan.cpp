#include "Scan/ExecScan.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

#include "Common/AgentArgs.h"
#include "Common/Component.h"
#include "Common/ComputerID.h"
#include "Common/EntityNames.h"
#include "Common/GenericException.h"
#include "Common/GenericPrint.h"
#include "Common/LogManager.h"
#include "Common/comutils.h"
#include "Common/resource.h"
#include "Common/unix/psmsgutil.h"
#include "Common/unix/psnautil.h"
#include "Common/unix/pssignal.h"
#include "Probe/Filesystem.h"
#include "Scan/AgentScan.h"
#include "Scan/DefinitionLoader.h"
#include "Scan/FilesystemScan.h"
#include "common/mem/keMalloc.h"
#include "common/mem/lastReserve.h"
#include "common/nls/nls.h"
#include "common/unx/virtstat.h"
#include "common/ut/TraceScope.h"
#include "common/ut/text.h"

namespace {

constexpr std::int32_t kStopped = 8;  // locked by another scan, or told to stop
constexpr std::int32_t kWriteFailed = 9;
constexpr std::int32_t kTraceFailed = 30;
constexpr std::int32_t kNoCatalogs = 72;
constexpr std::int32_t kLastTrusted = 7;  // codes above it remove the result file
constexpr unsigned kNotifyLimit = 21600;  // seconds
constexpr int kScheduled = 1;             // of createJobFile()
constexpr char kVersionText[] = "scan " SCAN_VERSION;

/// Makes a step of an ending, which goes on whether the step succeeds or not.
template <class Step>
void attempt(const Step& step) noexcept {
    try {
        step();
    } catch (const std::exception& failure) {
        trError("%s", failure.what());
    }
}

std::string currentTimeText() {
    return std::to_string(currentSeconds());
}

}  // namespace

ExecScan::ExecScan() : Object("ExecScan") {}

ExecScan::~ExecScan() = default;

std::int32_t ExecScan::startScan(int argc, const char* const* argv) {
    try {
        cmdArgs = std::make_unique<AgentArgs>(argc, argv, AgentArgs::kProgramScan);
        setUpServices();
        TraceScope scope("ExecScan::startScan");
        startJob();
        runJob();
    } catch (const std::bad_alloc&) {
        abandonJob(message::STA9002E, "");
        throw;
    } catch (const std::exception& failure) {
        abandonJob(message::STA9005E, failure.what());
        throw;
    } catch (const std::exception* failure) {
        abandonJob(message::STA9005E, failure->what());
        throw;
    } catch (const GenericException*) {
        abandonJob(message::STA9005E, "GenericException");
        throw;
    } catch (const ScanAbortException*) {
        abandonJob(message::STA9005E, "ScanAbortException");
        throw;
    } catch (const VEXIOException*) {
        abandonJob(message::STA9005E, "VEXIOException");
        throw;
    }
    cleanUp();
    return returnCode;
}

/// Tells the agent whether the job has come up; one that has not ends here.
void ExecScan::startJob() {
    TraceScope scope("ExecScan::startJob");
    setSignalHandlers();
    if (cmdArgs->command == AgentArgs::kCommandVersion) {
        std::printf("%s\n", kVersionText);
        std::fflush(stdout);
        cleanAndExit();
    }
    sendAgentStartStatus(cmdArgs->agentCom, returnCode == 0 ? '1' : '3');
    if (returnCode != 0)
        cleanAndExit();
    started = true;
    // Beyond this point the agent is told of the end in every case.
}

/// The job that the agent knows to run, until the agent knows its end.
void ExecScan::runJob() {
    TraceScope scope("ExecScan::runJob");
    logMsg(message::AGT0146I);
    setStartTime();
    jobFile = createJobFile(COMPONENT_SCAN, *cmdArgs, kScheduled);
    if (jobFile.runningProcess != 0) {
        leaveToOther();
        return;
    }
    const std::string definitionFile = definitionPath(*cmdArgs);
    std::unique_ptr<AgentScan> agentScan = loadDefinition(definitionFile);
    trTrace(naMax, "END OF <while( (efNext = pa->findNextEntity(ef)) != NULL )>.");

    const bool finished = scanAndWrite(*agentScan);
    traceCaughtSignal();
    setEndTime();
    agentScan.reset();

    if (returnCode > kLastTrusted)
        static_cast<void>(psRemoveFile(cmdArgs->dataFile));
    else if (finished)
        logMsg(message::STA0161I);
    tellAgent();
    removeDefinition(definitionFile);
}

/// Ends a job whose run is under way in another process: its files belong to that.
void ExecScan::leaveToOther() {
    TraceScope scope("ExecScan::leaveToOther");
    returnCode = kStopped;
    logMsg(message::STA9006E, {std::to_string(jobFile.runningProcess)});
    setEndTime();
    tellAgent();
}

/// At the highest trace level the definition stays, as the thing to look at. The agent has been
/// told: nothing that fails here matters.
void ExecScan::removeDefinition(const std::string& path) noexcept {
    TraceScope scope("ExecScan::removeDefinition");
    attempt([&path] {
        if (naMax == 0 && !path.empty() && psFileExists(path))
            static_cast<void>(psRemoveFile(path));
    });
}

/// Ends a job that nobody can save, such as one without memory: the agent, which has seen
/// it start, hears of its end, and what cannot be trusted goes.
void ExecScan::abandonJob(const MessageId& why, const char* reason) noexcept {
    const ReserveUse reserve;
    TraceScope scope("ExecScan::abandonJob");
    returnCode = kStopped;
    if (!started && cmdArgs) {
        checkAgentDescriptor(*cmdArgs);
        sendAgentStartStatus(cmdArgs->agentCom, '3');
    }
    if (started && !agentTold)
        giveUpResult(why, reason);
    cleanUp();
}

void ExecScan::giveUpResult(const MessageId& why, const char* reason) noexcept {
    TraceScope scope("ExecScan::giveUpResult");
    if (genericPrint)
        genericPrint->abandon();
    attempt([this] { unlock(); });
    static_cast<void>(psRemoveFile(cmdArgs->dataFile));
    logMsg(why, {reason});
    attempt([this] {
        setEndTime();
        tellAgent();
    });
    if (!agentTold)
        updateJobFile(jobFile, returnCode, cmdArgs->endTime);
}

/// Catalogs, command line, log and trace; `returnCode` tells of a failure.
void ExecScan::setUpServices() {
    const std::string programDir = cmdArgs->getProgramDir();
    if (programDir.empty()) {
        returnCode = kNoCatalogs;
        return;
    }
    nlsDir = programDir + "/" + "nls";
    logPath = programDir + "/" + "log" + "/" + "scan.log";
    catalogName = getNaCatalogName();
    if (setupMessages(catalogName, getNaCatalogName(), logPath, nlsDir) != 0) {
        returnCode = kNoCatalogs;
        return;
    }
    messagesOpen = true;
    readCommandLine();
}

void ExecScan::readCommandLine() {
    returnCode = cmdArgs->parse();
    checkAgentDescriptor(*cmdArgs);
    if (!cmdArgs->logFile.empty())
        logPath = cmdArgs->logFile;
    logManager = std::make_unique<LogManager>(logPath);

    switch (returnCode) {
        case AgentArgs::SUCCESS:
            // The trace of a run that is under way belongs to its process.
            if (runningJob(COMPONENT_SCAN, *cmdArgs) != 0)
                cmdArgs->traceFile.clear();
            if (setupTrace(cmdArgs->traceFile, cmdArgs->debug, cmdArgs->maxLogSize) == 0)
                traceOpen = true;
            else
                returnCode = kTraceFailed;
            break;
        case AgentArgs::NO_COMMAND:
        case AgentArgs::BAD_ARGUMENT: {
            const MessageId& complaint =
                returnCode == AgentArgs::NO_COMMAND ? message::AGT0397E : message::AGT0398E;
            logManager->printMsg(complaint.number, complaint.identifier, {cmdArgs->currentArg});
            logManager->printMsg(message::STA0528T.number, message::STA0528T.identifier, {});
            break;
        }
        default:
            break;  // told by the exit status alone
    }
}

/// Where the definition of the job lies. The first scan of a host has no run numbers.
std::string ExecScan::definitionPath(const AgentArgs& args) {
    TraceScope scope("ExecScan::definitionPath");
    const std::string folder = std::string("/") + "input" + "/" + args.serverName + "/";
    if (args.jobName.starts_with("InitialFSScan"))
        return args.programDir + folder + args.jobName + ".dat";
    return args.installLoc + folder + args.jobName + "." + zeroPadded(args.sidRunNumber, 4) +
           "_scan." + zeroPadded(args.jobRunNumber, 8) + ".dat";
}

/// The request; a definition that cannot be used ends the process.
std::unique_ptr<AgentScan> ExecScan::loadDefinition(const std::string& path) {
    TraceScope scope("ExecScan::loadDefinition");
    try {
        trTrace(naMax, "---- initializing ParserAPI ----\n");
        trTrace(naMin, "fileName = %s\n", path.c_str());
        const auto loader = std::make_unique<DefinitionLoader>(path);
        if (!loader) {
            static constexpr char kNoObjects[] =
                "At least one of the objects <scanObject> or <pa> could not be created - "
                "terminating";
            trTrace(naMin, "ERROR: %s", kNoObjects);
            throwVEXParserPointer(VEX_NO_PATH, kNoObjects);
        }
        return loader->load();
    } catch (const VEXParserException& failure) {
        trTrace(naMax, "ERROR: %s, occured during definition-file-parsing.",
                failure.getMessage().c_str());
        failDefinition(failure.getErrCode());
    } catch (const VexObjectCreationException& failure) {
        trTrace(naMax, "ERROR: %s, occured during object creation from definition-file.",
                failure.getMessage().c_str());
        failDefinition(failure.getErrCode());
    }
}

/// The job ends without an end time; its definition stays.
void ExecScan::failDefinition(std::int32_t code) {
    TraceScope scope("ExecScan::failDefinition");
    returnCode = code;
    logMsg(message::STA0430E);
    static_cast<void>(notifyAgent(returnCode, *cmdArgs));
    agentTold = true;
    cleanAndExit();
}

/// Locks, scans and writes; true if the scan went through to its end.
bool ExecScan::scanAndWrite(AgentScan& request) {
    TraceScope scope("ExecScan::scanAndWrite");
    try {
        lock(request.getFilesystems());
        logFilesystemList(request.getFilesystems());
        ComputerID::cachedCID = std::make_unique<ComputerID>(request.asScanningCompID);
        writeResults(request);
        unlock();
        trTrace(naMin, "Returncode=: %d\n", returnCode);
        return true;
    } catch (GenericException* thrown) {
        const std::unique_ptr<GenericException> failure(thrown);
        trTrace(naMax, "Filesystem already in locked by another scan process: %s",
                MessageInsert(failure->getCause()).text().c_str());
        // Meant: what is locked by now stays locked until another process finds it stale.
        returnCode = kStopped;
        if (agentStop)  // while it waited for a lock
            logMsg(message::STA9004W);
    } catch (ScanAbortException* thrown) {
        const std::unique_ptr<ScanAbortException> failure(thrown);
        trError("%s", MessageInsert(failure->getMessage()).text().c_str());
        if (genericPrint)
            genericPrint->abandon();  // it is to be removed
        unlock();
        returnCode = kStopped;
        logMsg(message::STA9004W);
    } catch (VEXIOException* thrown) {
        const std::unique_ptr<VEXIOException> failure(thrown);
        returnCode = kWriteFailed;
        logMsg(message::STA9003E, {failure->getCause()});
    }
    return false;
}

void ExecScan::writeResults(AgentScan& request) {
    TraceScope scope("ExecScan::writeResults");
    fsScan = std::make_unique<FilesystemScan>();
    genericPrint = std::make_unique<GenericPrint>(GenericPrint::ENTITIES, cmdArgs->dataFile);
    fsScan->setGenericPrint(genericPrint.get());
    fsScan->setReadAhead(cmdArgs->readAhead);

    AgentScan::printHeader(*genericPrint);
    genericPrint->startEntity(entity::AgentScan);
    request.printRow(*genericPrint);
    returnCode = fsScan->doScan(&request, cmdArgs->nfsTimeout);
    genericPrint->endEntity(entity::AgentScan);
    genericPrint->close();
}

void ExecScan::lock(const Filesystem* head) {
    TraceScope scope("ExecScan::lock");
    for (; head; head = head->next) {
        const std::string name = "scan_" + std::to_string(head->fsID);
        lockNames.push_back(name);  // before it is taken: what breaks in between gives it back
        if (lockResource(name, RESOURCE_SCAN, cmdArgs->installLoc) != 0) {
            lockNames.pop_back();
            logMsg(message::STA0531E, {head->fsMountPoint});
            throwGenericException(12, static_cast<std::uint32_t>(message::STA0531E.number),
                                  head->fsMountPoint, "");
        }
    }
}

void ExecScan::unlock() {
    TraceScope scope("ExecScan::unlock");
    for (const std::string& name : lockNames)
        unlockResource(name, RESOURCE_SCAN, cmdArgs->installLoc);
}

void ExecScan::logFilesystemList(const Filesystem* head) {
    TraceScope scope("ExecScan::logFilesystemList");
    std::string list = "\n";
    for (; head; head = head->next)
        list += std::string(25, ' ') + printable(head->fsMountPoint) + "\n";
    logMsg(message::STA0532I, {MessageInsert::lines(list)});
}

void ExecScan::setStartTime() {
    jobStartTime = currentTimeText();
}

void ExecScan::setEndTime() {
    jobEndTime = currentTimeText();
}

/// Tells the agent of the end, once; where that fails, the job file does. What is raised here
/// is raised before the agent's program was started.
void ExecScan::tellAgent() {
    TraceScope scope("ExecScan::tellAgent");
    const int told = notifyAgent(returnCode, *cmdArgs);
    agentTold = true;
    if (told != 0 && !jobFile.path.empty())
        updateJobFile(jobFile, returnCode, cmdArgs->endTime);
}

/// Runs the agent's notify program and waits for it; 0 if the agent was told.
int ExecScan::notifyAgent(std::int32_t code, const AgentArgs& args) const {
    TraceScope scope("ExecScan::notifyAgent");
    if (args.serverName.empty()) {
        trTrace(naMin, "No server to send notification to.\n");
        return 0;
    }
    const std::vector<std::string> arguments = notifyArguments(code, args);
    std::string line;
    for (const std::string& argument : arguments)
        line += argument + " ";
    trTrace(naMin, "%s", line.c_str());

    ExternalProgram program;
    const int spawned = SpawnExternalProgram(arguments, program, false, true, false, nullptr);
    if (spawned != 0) {
        trTrace(naMin, "notifyAgent failed\n");
        return spawned;
    }
    int exitCode = -1;
    const int waited = WaitForExternalProgram(program, exitCode, kNotifyLimit);
    if (waited != 0) {
        trTrace(naMin, "notiyAgent wait for completion failed\n");
        return waited;
    }
    return exitCode;
}

std::vector<std::string> ExecScan::notifyArguments(std::int32_t code,
                                                   const AgentArgs& args) const {
    TraceScope scope("ExecScan::notifyArguments");
    std::vector<std::string> arguments = {args.installLoc + "/" + "bin" + "/" + "Agent",
                                          "-notify", "scan"};
    const auto add = [&arguments](const char* option, const std::string& value) {
        arguments.emplace_back(option);
        arguments.push_back(value);
    };
    const auto addNumber = [&add](const char* option, int value) {
        if (value != -1)
            add(option, std::to_string(value));
    };
    const auto addText = [&add](const char* option, const std::string& value) {
        if (!value.empty())
            add(option, value);
    };

    // The agent wants its own location, one above: the "/" before its folder goes too.
    const std::size_t agent = args.installLoc.rfind("agent");
    add("-installLoc", agent == std::string::npos
                           ? args.installLoc
                           : args.installLoc.substr(0, agent == 0 ? 0 : agent - 1));
    add("-serverName", args.serverName);
    addText("-serverIP", args.serverIP);
    addNumber("-serverPort", args.serverPort);
    addText("-jobName", args.jobName);
    addNumber("-jobRunNumber", args.jobRunNumber);
    addNumber("-sidRunNumber", args.sidRunNumber);
    if (!args.debug.empty()) {
        add("-debug", args.debug);
        if (args.maxLogSize != AgentArgs::kDefaultLogSize)
            add("-maxLogSize", std::to_string(args.maxLogSize));
    }
    add("-exitCode", std::to_string(code));
    add("-jobstarttimestamp", jobStartTime);
    add("-jobendtimestamp", jobEndTime);
    const std::size_t extension = args.traceFile.rfind(".trace");
    if (extension != std::string::npos)
        add("-debugfile", args.traceFile.substr(0, extension) + ".notify.trace");
    return arguments;
}

void ExecScan::cleanUp() {
    TraceScope scope("ExecScan::cleanUp");
    cmdArgs.reset();
    logManager.reset();
    fsScan.reset();
    genericPrint.reset();
    virtStatCleanUp();
    if (messagesOpen)
        nlClose();
    messagesOpen = false;
    KelPoolEnd();
    if (traceOpen)
        closeTrace();
    traceOpen = false;
}

void ExecScan::cleanAndExit() {
    cleanUp();
    std::exit(returnCode);
}
