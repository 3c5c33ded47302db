#pragma once

#include <string>

/// The tool of PLEXFS that names the snapshot directory of a file system.
inline constexpr char kPlexSnapshotTool[] = "/usr/lpp/plexfs/bin/plexsnapdir";

/// The snapshot directory of the PLEXFS mounted at `mountPath`, which has no "/" at its
/// end. The tool is asked through a shell; if it does not answer, or the path holds
/// anything that a shell could read, the name is ".snapshots". Scan thread.
[[nodiscard]] std::string plexSnapshotDirectory(const std::string& mountPath,
                                                const std::string& tool = kPlexSnapshotTool);
