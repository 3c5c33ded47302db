#include "Scan/SMonDir.h"

#include "Common/EntityColumns.h"
#include "Common/EntityNames.h"
#include "Common/GenericPrint.h"
#include "Scan/MonDirSpec.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr Column<SMonDir> kColumns[] = {
    {"smFilesystemID", nullptr, writeNumber<&SMonDir::smFilesystemID>},
    {"smDirectoryID",  nullptr, writeNumber<&SMonDir::smDirectoryID> },
    {"smNewDirectory", nullptr, writeNumber<&SMonDir::smNewDirectory>},
    {"smScanTime",     nullptr, writeNumber<&SMonDir::smScanTime>    },
    {"smRemovedTime",  nullptr, writeNumber<&SMonDir::smRemovedTime> },
};

}  // namespace

void SMonDir::printHeader(GenericPrint& out) {
    TraceScope scope("SMonDir::printHeader");
    out.headerRow(joinedRows(FileAttributes::columnNames(), ::columnNames(kColumns)));
}

void SMonDir::printData(GenericPrint& out) const {
    TraceScope scope("SMonDir::printData");
    out.startEntity(entity::SMonDir);
    out.row(joinedRows(FileAttributes::columnValues(), ::columnValues(kColumns, *this)));
    out.startEntity(entity::MonDirSpec);
    smDirSpecs.forEach([&out](const MonDirSpec& dirSpec) { dirSpec.printData(out, false); });
    out.endEntity(entity::MonDirSpec);
    printIdentities(out);
    out.endEntity(entity::SMonDir);
}

void SMonDir::enter(const FileAttributes& directory, std::int32_t filesystemID) {
    TraceScope scope("SMonDir::enter");
    static_cast<FileAttributes&>(*this) = directory;
    smFilesystemID = filesystemID;
}
