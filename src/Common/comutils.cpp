#include "Common/comutils.h"

#include <unistd.h>

#include "common/ut/TraceScope.h"

namespace {

constexpr int kSpawnFailed = 71;
constexpr int kWaitFailed = 74;

}  // namespace

void sendAgentStartStatus(int descriptor, char status) {
    TraceScope scope("sendAgentStartStatus");
    if (descriptor == -1)
        return;
    if (write(descriptor, &status, 1) == 1)
        trTrace(naMin, "Successfully sent status to agent: %c\n", status);
    else
        trTrace(naMin, "Failed to send status to agent: %c\n", status);
}

std::string createJobFile(int /*component*/, AgentArgs& /*args*/, int /*scheduled*/) {
    TraceScope scope("createJobFile");
    return {};
}

void updateJobFile(const std::string& path, std::int32_t /*exitCode*/,
                   std::int64_t /*endTime*/) {
    TraceScope scope("updateJobFile");
    trTrace(naMin, "Unable to open %s, file does not exist.\n", path.c_str());
}

int SpawnExternalProgram(const std::vector<std::string>& /*arguments*/,
                         ExternalProgram& /*program*/, bool /*capture*/, bool /*quote*/,
                         bool /*append*/, char* const* /*environment*/) {
    TraceScope scope("SpawnExternalProgram");
    return kSpawnFailed;
}

int WaitForExternalProgram(ExternalProgram& /*program*/, int& /*exitCode*/,
                           unsigned /*limit*/) {
    TraceScope scope("WaitForExternalProgram");
    return kWaitFailed;
}
