#include "Common/unix/psmsgutil.h"

#include "common/nls/nls.h"
#include "common/ut/TraceScope.h"

std::string getNaCatalogName() {
    return "cvnna.cat";
}

int setupMessages(const std::string& catalog, const std::string& /*englishCatalog*/,
                  const std::string& /*errorLog*/, const std::string& nlsDir) {
    TraceScope scope("setupMessages");
    return nlSetUp(catalog, nlsDir);
}

int setupTrace(const std::string& /*file*/, const std::string& level, int /*maxLogSize*/) {
    constexpr int kSetUpFailed = 30;
    return trSetLevel(level) == 0 ? 0 : kSetUpFailed;
}
