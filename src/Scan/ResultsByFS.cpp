#include "Scan/ResultsByFS.h"

#include "Common/AnalysisSource.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Probe/Filesystem.h"
#include "Scan/DirectoryResults.h"
#include "Scan/RecordPacking.h"
#include "common/ut/TraceScope.h"

ResultsByFS::~ResultsByFS() {
    TraceScope scope("ResultsByFS::~ResultsByFS");
    while (rfResults) {
        CuStatResults* const next = rfResults->nextResults;
        delete rfResults;
        rfResults = next;
    }
    // The source may be gone by now, so only one that is kept here can be asked.
    if (!packedDirectory.empty())
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
    if (!packedDirectory.empty()) {
        const std::unique_ptr<DirectoryResults> found = unpacked();
        found->results.printData(out);
        trTrace(naMax,
                "ResultsByFS::printData() : INFO: Invoking printData() for the given "
                "AnalysisSource instance.");
        found->directory.printData(out);
    }
    out.endEntity(entity::ResultsByFS);
}

bool ResultsByFS::passes(std::int32_t fsID) const {
    TraceScope scope("ResultsByFS::passes");
    if (fsID <= 0)
        return true;
    if (!packedDirectory.empty())
        return isDirectoryOn(fsID);
    const Filesystem* const source = filesystem();
    return !source || source->fsID == fsID;
}

Filesystem* ResultsByFS::filesystem() const {
    return dynamic_cast<Filesystem*>(rfDirOrFS);
}

void ResultsByFS::keepDirectory(const CuStatResults& results, const SMonDir& directory) {
    TraceScope scope("ResultsByFS::keepDirectory");
    RecordPacker pack;
    pack(results, directory);
    packedDirectory = pack.take();
    directoryFilesystem = directory.smFilesystemID;
}

bool ResultsByFS::isDirectoryOn(std::int32_t fsID) const {
    return !packedDirectory.empty() && directoryFilesystem == fsID;
}

std::unique_ptr<DirectoryResults> ResultsByFS::unpacked() const {
    TraceScope scope("ResultsByFS::unpacked");
    auto found = std::make_unique<DirectoryResults>();
    RecordUnpacker unpack(packedDirectory);
    unpack(found->results, found->directory);
    return found;
}
