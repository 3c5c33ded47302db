#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "common/unx/UniqueFd.h"

class Filesystem;

/// Reader of the host's mount table, and the row it stands at: what is mounted where.
///
///     Mounts table;
///     if (table.openMnttab())
///         while (table.nextMount())
///             ... table.mountPoint ...
///
/// Rows that are no storage ("proc", "devpts" and the like) are left out. The table is
/// locked for reading from openMnttab() to its end. A row alone, without a table, answers
/// the space questions. Scan thread only.
class Mounts {
public:
    explicit Mounts(std::string tablePath = "/etc/mtab");
    virtual ~Mounts();
    Mounts(const Mounts&) = delete;
    Mounts& operator=(const Mounts&) = delete;

    /// True if the table is open and locked; logs the failure. Waits for a lock as long as
    /// that takes; raises ScanAbortException if the job is told to stop meanwhile.
    [[nodiscard]] virtual bool openMnttab();

    /// Has rows of clusters read too, which go by the name of a directory in them: their file
    /// systems are asked for it, for `nfsTimeout` seconds at most in each call, 0 for any time.
    /// Without this such rows are left out, and no file system of the table is asked anything.
    void nameClusters(int nfsTimeout);

    /// True with the next row in the fields; false at the end, or after a failure that
    /// was logged, when the rest of the table is not read.
    [[nodiscard]] virtual bool nextMount();

    /// A copy of this row, without the table.
    [[nodiscard]] std::unique_ptr<Mounts> copyRow() const;

    /// Fills the space and inode figures of `filesystem` from this row's mount point.
    /// Returns 0; 12 if the system gives none; else what GetPhysicalSize() returns. Each
    /// failure is logged. `nfsTimeout` is in seconds, 0 for none.
    [[nodiscard]] int statFS(Filesystem& filesystem, int nfsTimeout);

    /// Fills `fsPhysicalSize` from the device where its type tells how: 0, 4 if the device
    /// does not open, 8 if it cannot be read. Other types: 0, nothing done. Each call to the
    /// device may take `nfsTimeout` seconds, 0 for any time.
    [[nodiscard]] static int GetPhysicalSize(Filesystem& filesystem, const Mounts& mounts,
                                             int nfsTimeout);

    std::string device;
    std::string mountPoint;
    std::string type;
    std::string options;  // "loop ", "bind" or both

private:
    [[nodiscard]] bool getGridfsClusterName(const std::string& directory);

    struct CloseStream {
        void operator()(std::FILE* stream) const noexcept;
    };

    const std::string tablePath;
    UniqueFd file;                                   // holds the lock of the table
    std::string content;                             // of the table
    std::unique_ptr<std::FILE, CloseStream> mnttab;  // reads `content`; null behind its end
    bool namesClusters = false;
    int clusterTimeout = 0;  // seconds
};
