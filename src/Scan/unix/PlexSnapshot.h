#pragma once

#include <cstdint>
#include <string>

/// How the snapshot directory of a PLEXFS is found.
struct PlexSnapshotSource {
    std::string tool = "/usr/lpp/plexfs/bin/plexsnapdir";  // which names it: tool DEVICE -q
    std::string mountTable = "/etc/mtab";                  // which names the device
};

/// The snapshot directory of the PLEXFS mounted at `mountPath`, which has no "/" at its
/// end.
///
/// The tool is run without a shell, for `nfsTimeout` seconds at most, 60 if that is 0, and
/// not after the job was told to stop. The name is ".snapshots" if it gives none, or one
/// that is no name of a directory's entry, and if the device has a name that could be
/// anything but that of a device: it is not asked then. Scan thread.
[[nodiscard]] std::string plexSnapshotDirectory(const std::string& mountPath,
                                                std::int32_t nfsTimeout,
                                                const PlexSnapshotSource& source = {});
