#pragma once

#include <cstdint>
#include <memory>

#include "Scan/Accumulator.h"
#include "Scan/NMost.h"
#include "Scan/SDirectory.h"

class Filesystem;

/// The directories that hold the most directly in them. Nothing is rolled up: what lies in
/// a directory below counts there alone.
///
/// Every directory of a walk competes, whether or not a filter selects it; of the entries
/// only the selected ones count, each link by itself.
class LargeDirAccum : public Accumulator {
public:
    /// `length` is how many directories are kept; `filesystem` is where the walk is.
    LargeDirAccum(std::int32_t length, const Filesystem& filesystem);

    /// The walk enters a directory.
    void newDirectory(FileAttributes* pDirInfo);

    /// The walk leaves the directory that it entered last: its totals are complete.
    void endDirectory();

    /// Adds an entry to the directory it stands in; the root's own entry stands in none.
    void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;

    /// Hands the list over, the largest directory first.
    void finish(CuStatResults* results) override;

private:
    SDirectoryList openDirs;       // of the walk, the innermost at the head
    std::unique_ptr<NMost> nMost;  // until finish()
    std::int32_t fsID;
};
