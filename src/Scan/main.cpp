/// `scan`, the file system scanning job of a storage monitoring agent. The road of a job:
///
///   The job, Scan/
///     main                  here: one ExecScan, and the end of one that breaks
///     operatorNew           the program's allocations, with a last reserve
///     ExecScan              command line to exit: order of steps, failures, return code
///     DefinitionLoader      definition file to request
///     AgentScan             the request; it owns the three lists
///       MonDirSpec          a directory to monitor
///       CuStatDef           a statistic to collect, with its results below it
///     FilesystemScan        request to results: binds, then walks one file system at a time
///       FilesystemScanArrange.cpp  order of the file systems, which directory lies on what
///       FilesystemScanMounts.cpp  what is mounted where, and under which name of a filer
///       FilesystemScanResults.cpp  writing the results, undoing a failed file system
///     Selection             clause of a statistic to filter: a tree of SelectNodes
///       ClauseParser        the language of clauses
///       PathMask, MaskMatcher  masks of paths and owners, and how they are matched
///
///   The walk, Scan/ and Scan/unix/
///     Scanner, ScannerUnix  depth first over one file system
///     DirectoryReader, DirectoryReaderUnix  one directory: next entry, attributes, filters
///     DirectoryStream       the open directory: the only place that asks the system
///       DirectStream        by plain calls
///       NamePosition        where its names go on when its descriptor was given up meanwhile
///       GuardedStream, GuardedDirectory  with a time-out for each call
///       SharedGuardedStream, GuardedNames, GuardedAttributes  the same for several threads
///       ReadAhead, AheadStream, AheadDirectory  read ahead on helper threads
///     WalkBounds            what a walk leaves out, for the walker and for those helpers
///     FileAttributes        the entry at hand, as statistics see it; FileInfo as filters do
///     PlexSnapshot          the directory of snapshots that a walk leaves out
///     UnixUserTable, UberTable  owners and groups (UserOrGroup) by number and by name
///     UserDatabase          the host's answers about them, and its failures
///
///   Statistics and results, Scan/
///     FileAction            what the walk calls
///       CuStatAccum         one statistic on one file system: hard links, then the sinks
///         MonDirAccum       a directory statistic, in one monitored directory after another
///       Activator           arms those when a directory matches its MonDirSpec
///     Accumulator           a sink: SummaryAccum
///     ResultsByFS, CuStatResults, SSummary  results, and how they are written
///     DirectoryResults      those of a monitored directory (SMonDir), which wait packed
///     RecordPacking         records as bytes; SpecMatches: the MonDirSpecs that matched
///     ResultHeader          the header block of the result file
///
///   The storage model, Probe/
///     Filesystem            a file system: its record in definition and result
///     Mounts                the mount table, space figures
///     guardedFiles          files of file systems that may be dead
///     NasFiler, Domain, LdapTree  file servers
///
///   Services of the agent's job programs, Common/
///     AgentArgs, LogUtil    command line and names of files
///     ParserAPI, LineReader, GenericPrint  entity files, read and written; EntityColumns maps
///     columns LogManager, Messages  the activity log and its messages GenericException.h all
///     failures that are thrown resource, ResourceFile, Filelock  locks between the jobs of a
///     host comutils              agent status, programs that a job runs jobFile the file by
///     which the agent knows a running job, and jobs each other CmdExecer             a command
///     of the shell with its output pssignal              the request to stop CommonAgent,
///     UpTime   facts of the host, and the history of its boots InetAddress           names and
///     addresses of hosts ComputerID            which computer scans
///
///   Foundation, common/
///     ut                    trace (call sites: trace, TraceScope; its file: traceControl; its
///                           classes by name: traceClasses), log files (LogRecord, logPrune,
///                           logLayout), text helpers, directories
///     mem                   the pool of small blocks: keMalloc; its parts: Pool; lastReserve
///     nls                   message catalogs: nls; an entry of one: messageRecord
///     thrd                  locks, threads, outcome of the process (GlobalRC), errno codes
///     unx                   start of the process, children, calls that are interrupted
///     (systemCalls)
///                           or can hang (virtstat)

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <exception>
#include <memory>
#include <span>
#include <unistd.h>

#include "Common/GenericException.h"
#include "Scan/ExecScan.h"
#include "common/unx/processStart.h"
#include "common/unx/systemCalls.h"
#include "common/ut/text.h"

namespace {

constexpr int kBroken = 8;  // like a job that was stopped: no result

/// Says on standard error why the process ends. Takes no memory.
int tellWhy(const char* reason) noexcept {
    std::array<char, 256> line{};
    const int length =
        std::snprintf(line.data(), line.size(), "scan: the job broke: %.200s", reason);
    const std::span<char> text(line.data(), static_cast<std::size_t>(std::max(length, 0)));
    blankControls(text);
    line[text.size()] = '\n';
    static_cast<void>(writeWhole(STDERR_FILENO, {line.data(), text.size() + 1}));
    return kBroken;
}

/// Where no exception can be made, for want of memory at the very start, or one leaves a
/// thread.
[[noreturn]] void endAtOnce() noexcept {
    _exit(tellWhy("terminated"));
}

}  // namespace

int main(int argc, char** argv) {
    std::set_terminate(endAtOnce);
    // What is unexpected leaves the job as an exception. It has been cleaned up after.
    try {
        prepareProcess();
        // Messages alone: any other category would change how names are matched and written.
        std::setlocale(LC_MESSAGES, "");

        auto job = std::make_unique<ExecScan>();
        return job->startScan(argc, argv);
    } catch (const std::exception& failure) {
        return tellWhy(failure.what());
    } catch (const std::exception* failure) {
        return tellWhy(failure->what());
    } catch (const GenericException*) {
        return tellWhy("GenericException");
    } catch (const ScanAbortException*) {
        return tellWhy("ScanAbortException");
    } catch (const VEXIOException*) {
        return tellWhy("VEXIOException");
    }
}
