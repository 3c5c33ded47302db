#pragma once

#include <iterator>
#include <memory>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "Common/LogManager.h"
#include "Common/unix/psmsgutil.h"
#include "Probe/Filesystem.h"
#include "Scan/SelectNode.h"
#include "Scan/UberTable.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/UnixUserTable.h"
#include "common/nls/nls.h"
#include "support/RecordingAction.h"
#include "support/TempTree.h"

/// A walk with one action that hears of every entry, and with a log. The file system is
/// reported as "/" unless a test says otherwise, so that paths in a story are short.
class WalkTest : public testing::Test {
protected:
    WalkTest() {
        filesystem.fsMountPoint = "/";
        EXPECT_EQ(0, setupMessages("cvnna.cat", "cvnna.cat", "", SCAN_NLS_DIR));
        logManager = std::make_unique<LogManager>(scratch.path("log"));
    }
    ~WalkTest() override {
        logManager.reset();
        nlClose();
    }

    std::int32_t walk(DirectoryReaderFactory& readers, const std::string& mountPath) {
        ScannerUnix scanner(&filesystem, {&action}, {&all}, &users, &readers, mountPath, 0);
        return scanner.scan();
    }

    /// How often the pattern matches in the log, within a line.
    [[nodiscard]] long logged(const std::string& pattern) const {
        const std::string log = scratch.read("log");
        const std::regex regex(pattern);
        return std::distance(std::sregex_iterator(log.begin(), log.end(), regex), {});
    }

    const TempTree scratch;
    Filesystem filesystem;
    RecordingAction action;
    SelectNode all{[](const SelectNode*, const FileInfo*) { return 1; }};
    UberTable names;
    UnixUserTable users{names};
};
