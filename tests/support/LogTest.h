#pragma once

#include <gtest/gtest.h>

#include "Common/LogManager.h"
#include "Common/unix/psmsgutil.h"
#include "common/nls/nls.h"
#include "support/TempTree.h"

/// A test with an activity log of its own, the file "log" of its tree.
class LogTest : public testing::Test {
protected:
    LogTest() {
        EXPECT_EQ(0, setupMessages("cvnna.cat", "cvnna.cat", "", SCAN_NLS_DIR));
        logManager = std::make_unique<LogManager>(tree.path("log"));
    }
    ~LogTest() override {
        logManager.reset();
        nlClose();
    }

    /// True if `id` was logged, and the log ends with this text.
    [[nodiscard]] bool logged(const std::string& id, const std::string& end = "") const {
        const std::string log = tree.read("log");
        return log.find(" " + id + " ") != std::string::npos && log.ends_with(end + "\n");
    }

    const TempTree tree;
};
