#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Scan/Scanner.h"

/// Walks a file system of this host.
class ScannerUnix : public Scanner {
public:
    /// `mountPath` is where the file system is mounted here; empty if that is the same as
    /// its reported path. `timeout` is in seconds, 0 for none. Else as Scanner.
    ScannerUnix(Filesystem* pFilesystem, const std::vector<FileAction*>& fileActions,
                const std::vector<const SelectNode*>& filters, UserTable* users,
                DirectoryReaderFactory* readerFactory, const std::string& mountPath,
                std::int32_t timeout);

    [[nodiscard]] bool Stat(FileInfo& info) override;
    [[nodiscard]] const LocalPathInfo* getLocalPath() const override { return localPath.get(); }
    void setLocalPath(const std::string& mountPath) final;
    void freeLocalPath() override { localPath.reset(); }

private:
    [[nodiscard]] int readAttributes(FileInfo& info) const;
};
