#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Scan/unix/DirectoryStream.h"

class FileAttributes;
struct FileInfo;
class Scanner;

/// Reads one directory for the walker: opens it, presents its entries one by one in the
/// walker's FileAttributes, and says which statistics want each. Scan thread only.
class DirectoryReader {
public:
    DirectoryReader() = default;
    virtual ~DirectoryReader() = default;
    DirectoryReader(const DirectoryReader&) = delete;
    DirectoryReader& operator=(const DirectoryReader&) = delete;

    /// Opens the scanner's current directory. One that does not open is reported and
    /// reads as empty. `first` is set for the root of the walk.
    void init(Scanner* pScanner, bool first);

    /// True with the next entry in the scanner's current file; false at the end. An entry
    /// on another device, or one whose attributes cannot be read, has type FA_ELSEWHERE
    /// and no statistic selected.
    [[nodiscard]] bool next(std::int16_t fsType);

    /// Length of the directory's path; the root's counts its trailing "/".
    [[nodiscard]] std::size_t getPathLength() const { return pathLength; }

    [[nodiscard]] virtual DirectoryStream* getHandle() const = 0;

    /// Replaces the open directory; 1 if there was one.
    virtual int setHandle(std::unique_ptr<DirectoryStream> stream) = 0;

    /// Opens a directory; null if that failed and was reported.
    [[nodiscard]] virtual std::unique_ptr<DirectoryStream> Open(const std::string& path) = 0;

    /// Puts the path of the next entry into the scanner's current file; false at the end.
    /// Raises ScanAbortException when the job was asked to stop.
    [[nodiscard]] virtual bool NextDirEntry(std::int16_t fsType) = 0;

    /// Fills `file` with the attributes of the entry whose path it holds, runs the
    /// filters, and returns where the entry lies; nothing if it has no attributes.
    [[nodiscard]] virtual std::optional<EntryIdentity> Stat(FileAttributes* file) = 0;

protected:
    /// Takes what a filter or statistic reads from the work record, and runs the filters.
    void ScannerFinishOffStat(FileAttributes* file, FileInfo* info);

    bool firstReader = false;
    std::size_t pathLength = 0;
    Scanner* scanner = nullptr;               // not owned
    std::unique_ptr<DirectoryStream> handle;  // null when there is nothing to read
};

/// Makes the readers of a walk.
class DirectoryReaderFactory {
public:
    virtual ~DirectoryReaderFactory() = default;

    /// A reader of the scanner's current directory; null for a null scanner.
    [[nodiscard]] virtual std::unique_ptr<DirectoryReader> newDirectoryReader(Scanner* pScanner,
                                                                              bool first);
};
