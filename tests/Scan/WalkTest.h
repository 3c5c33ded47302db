#pragma once

#include <iterator>
#include <regex>
#include <string>

#include "Probe/Filesystem.h"
#include "Scan/SelectNode.h"
#include "Scan/UberTable.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/UnixUserTable.h"
#include "support/LogTest.h"
#include "support/RecordingAction.h"

/// A walk with one action that hears of every entry, and with a log. The file system is
/// reported as "/" unless a test says otherwise, so that paths in a story are short.
class WalkTest : public LogTest {
protected:
    WalkTest() { filesystem.fsMountPoint = "/"; }

    std::int32_t walk(DirectoryReaderFactory& readers, const std::string& mountPath) {
        ScannerUnix scanner(&filesystem, {&action}, {&all}, &users, &readers, mountPath,
                            nfsTimeout);
        scanner.setReadAhead(readAhead);
        return scanner.scan();
    }

    /// How often the pattern matches in the log, within a line.
    [[nodiscard]] long logged(const std::string& pattern) const {
        const std::string log = LogTest::tree.read("log");
        const std::regex regex(pattern);
        return std::distance(std::sregex_iterator(log.begin(), log.end(), regex), {});
    }

    std::int32_t nfsTimeout = 0;  // seconds
    std::int32_t readAhead = 0;   // helpers
    Filesystem filesystem;
    RecordingAction action;
    SelectNode all{[](const SelectNode*, const FileInfo*) { return 1; }};
    UberTable names;
    UnixUserTable users{names};
};
