#include "Scan/ResultsByFS.h"

#include "Common/AnalysisSource.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Probe/Filesystem.h"
#include "Scan/CuStatResults.h"
#include "Scan/SMonDir.h"
#include "common/ut/TraceScope.h"

ResultsByFS::~ResultsByFS() {
    TraceScope scope("ResultsByFS::~ResultsByFS");
    while (rfResults) {
        CuStatResults* const next = rfResults->nextResults;
        delete rfResults;
        rfResults = next;
    }
    // The source may be gone by now, so only one that is kept here can be asked.
    if (dynamic_cast<SMonDir*>(keptSource.get()))
        trTrace(naMax,
                "ResultsByFS::~ResultsByFS() : INFO: The actual ResultsByFS results are for a "
                "monitored directory.");
    if (dynamic_cast<Filesystem*>(keptSource.get()))
        trTrace(naMax,
                "ResultsByFS::~ResultsByFS() : INFO: The actual ResultsByFS results are for a "
                "filesystem.");
}

void ResultsByFS::printData(GenericPrint& out) const {
    TraceScope scope("ResultsByFS::printData");
    out.startEntity(entity::ResultsByFS);
    for (const CuStatResults* results = rfResults; results; results = results->nextResults)
        results->printData(out);
    if (Filesystem* const source = filesystem())
        source->printData(out, false);
    if (const SMonDir* const source = monitoredDirectory()) {
        trTrace(naMax,
                "ResultsByFS::printData() : INFO: Invoking printData() for the given "
                "AnalysisSource instance.");
        source->printData(out);
    }
    out.endEntity(entity::ResultsByFS);
}

bool ResultsByFS::passes(std::int32_t fsID) const {
    TraceScope scope("ResultsByFS::passes");
    if (fsID <= 0)
        return true;
    if (const SMonDir* const directory = monitoredDirectory())
        return directory->smFilesystemID == fsID;
    const Filesystem* const source = filesystem();
    return !source || source->fsID == fsID;
}

Filesystem* ResultsByFS::filesystem() const {
    return dynamic_cast<Filesystem*>(rfDirOrFS);
}

const SMonDir* ResultsByFS::monitoredDirectory() const {
    return dynamic_cast<const SMonDir*>(rfDirOrFS);
}
