#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Common/Object.h"

class AnalysisSource;
class CuStatResults;
class Filesystem;
class GenericPrint;
class SMonDir;
struct DirectoryResults;

/// The results of one statistic on one file system or monitored directory. There can be
/// hundreds of thousands of those, so what belongs to a directory is packed.
class ResultsByFS : public Object {
public:
    ResultsByFS() noexcept : Object("ResultsByFS") {}
    ~ResultsByFS() override;  // deletes the results
    ResultsByFS(const ResultsByFS&) = delete;
    ResultsByFS& operator=(const ResultsByFS&) = delete;

    /// Writes the entity: the results, then their source if there is one.
    void printData(GenericPrint& out) const;

    /// True if the results belong into the output of the file system `fsID`. Results
    /// without a source always do, and an id of 0 or less takes all.
    [[nodiscard]] bool passes(std::int32_t fsID) const;

    /// The source as a file system, null if it is none.
    [[nodiscard]] Filesystem* filesystem() const;

    /// Keeps the complete results of a monitored directory, and the directory with them. What
    /// they point to must outlive this.
    void keepDirectory(const CuStatResults& results, const SMonDir& directory);

    /// True if they are of a directory on the file system `fsID`.
    [[nodiscard]] bool isDirectoryOn(std::int32_t fsID) const;

    /// The results and the directory; only for those.
    [[nodiscard]] std::unique_ptr<DirectoryResults> unpacked() const;

    ResultsByFS* nextResultsByFS = nullptr;      // owned by the list's holder
    CuStatResults* rfResults = nullptr;          // owned, head of the list; of a file system
    AnalysisSource* rfDirOrFS = nullptr;         // not owned
    std::shared_ptr<AnalysisSource> keptSource;  // keeps a source alive that nobody else owns

private:
    std::vector<char> packedDirectory;      // DirectoryResults; empty for a file system
    std::int32_t directoryFilesystem = -1;  // id of where the directory lies
};
