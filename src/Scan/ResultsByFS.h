#pragma once

#include <cstdint>
#include <memory>

#include "Common/Object.h"

class AnalysisSource;
class CuStatResults;
class Filesystem;
class GenericPrint;
class SMonDir;

/// The results of one statistic on one file system or monitored directory.
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

    /// The source as a monitored directory, null if it is none.
    [[nodiscard]] const SMonDir* monitoredDirectory() const;

    ResultsByFS* nextResultsByFS = nullptr;      // owned by the list's holder
    CuStatResults* rfResults = nullptr;          // owned, head of the list
    AnalysisSource* rfDirOrFS = nullptr;         // not owned
    std::shared_ptr<AnalysisSource> keptSource;  // keeps a source alive that nobody else owns
};
