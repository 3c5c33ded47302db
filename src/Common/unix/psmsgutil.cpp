#include "Common/unix/psmsgutil.h"

#include <algorithm>
#include <cstdint>

#include "Common/AgentArgs.h"
#include "Common/Messages.h"
#include "common/mem/keMalloc.h"
#include "common/nls/nls.h"
#include "common/thrd/psThread.h"
#include "common/ut/TraceScope.h"
#include "common/ut/makeDirPath.h"
#include "common/ut/traceClasses.h"
#include "common/ut/traceControl.h"

namespace {

constexpr int kKilobytesPerMegabyte = 1024;

/// The classes of the agent's programs; their aggregates are the values of -debug.
constexpr TraceClass kAgentClasses[] = {
    {"NA_MIN",   &naMin  },
    {"NA_MID",   &naMid  },
    {"NA_MAX",   &naMax  },
    {"NA_ENTER", &naEnter},
    {"NA_EXIT",  &naExit },
    {nullptr,    nullptr },
};

constexpr TraceAggregate kAgentAggregates[] = {
    {"MIN",   "NA_MIN"                               },
    {"MID",   "NA_MIN NA_MID"                        },
    {"MAX",   "NA_ENTER NA_EXIT NA_MIN NA_MID NA_MAX"},
    {nullptr, nullptr                                },
};

}  // namespace

std::string getNaCatalogName() {
    return "cvnna.cat";
}

int setupMessages(const std::string& catalog, const std::string& englishCatalog,
                  const std::string& errorLog, const std::string& nlsDir) {
    TraceScope scope("setupMessages");
    KelPoolSetUp();
    NlsSettings settings;
    settings.catalog = catalog;
    settings.englishCatalog = englishCatalog;
    settings.directory = nlsDir;
    settings.errorLog = errorLog;
    settings.programType = AgentArgs::kProgramScan;
    for (const MessageId& id : {message::STA0001E, message::STA0161I, message::AGT0146I,
                                message::STA0528T, message::STA0647E, message::GEN7001E})
        settings.probes.push_back(id.number);
    return nlSetUp(settings);
}

int setupTrace(const std::string& file, const std::string& level, int maxLogSize) {
    constexpr int openFailed = 1;
    constexpr int setUpFailed = 30;
    TraceHooks hooks;
    hooks.programType = AgentArgs::kProgramScan;
    hooks.threadId = [] { return static_cast<std::uint32_t>(psThreadSelf()); };
    if (trStart(hooks) != 0)
        return setUpFailed;
    if (file.empty())
        return 0;

    const std::size_t slash = file.rfind('/');
    if (slash != std::string::npos && slash > 0 && makeDirPath(file.substr(0, slash)) != 0)
        return setUpFailed;
    trSetMax(static_cast<std::uint32_t>(std::max(maxLogSize / kKilobytesPerMegabyte, 1)));
    if (trSetFlags("PID TID", false, kFoundationClasses, kFoundationAggregates) != 0 ||
        trSetFlags(level, false, kAgentClasses, kAgentAggregates) != 0) {
        closeTrace();
        return setUpFailed;
    }
    if (trOpen(file, true) != 0) {
        closeTrace();
        return openFailed;
    }
    return 0;
}

void closeTrace() {
    trClose(true);
    trClearFlags(kAgentClasses);
}
