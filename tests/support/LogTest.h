#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "Common/LogManager.h"
#include "Common/unix/psmsgutil.h"
#include "common/nls/nls.h"
#include "support/TempTree.h"

/// A test with an activity log of its own.
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

    /// The last line of the log, without date and time.
    [[nodiscard]] std::string lastLogged() const {
        const std::string log = tree.read("log");
        const std::size_t before =
            log.size() < 2 ? std::string::npos : log.rfind('\n', log.size() - 2);
        return log.substr((before == std::string::npos ? 0 : before + 1) + 24);
    }

    const TempTree tree;
};
