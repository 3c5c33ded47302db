#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Scan/DirectoryReader.h"

/// Reads a directory of this host.
class DirectoryReaderUnix : public DirectoryReader {
public:
    [[nodiscard]] DirectoryStream* getHandle() const override { return handle.get(); }
    int setHandle(std::unique_ptr<DirectoryStream> stream) override;
    [[nodiscard]] std::unique_ptr<DirectoryStream> Open(const std::string& path) override;
    [[nodiscard]] bool NextDirEntry(std::int16_t fsType) override;
    [[nodiscard]] std::optional<EntryIdentity> Stat(FileAttributes* file) override;

private:
    [[nodiscard]] int openRoot(const std::string& path,
                               std::unique_ptr<DirectoryStream>& stream) const;
    [[nodiscard]] int openChild(const char* name,
                                std::unique_ptr<DirectoryStream>& stream) const;

    /// Takes the last component off the scanner's path; the root is not left.
    void endOfDirectory();

    const char* entryName =
        "";  // not owned; of the entry at hand, in the stream; "" for the root
};
