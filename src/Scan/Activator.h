#pragma once

#include "Scan/FileAction.h"
#include "Scan/MonDirSpec.h"

class MonDirAccum;

/// Watches a walk for the directories of one MonDirSpec, which its filter selects, and
/// arms the directory statistics of that depth for each.
class Activator : public FileAction {
public:
    /// `chain` is the newest statistic of the depth, null if there is none. Both must
    /// outlive this.
    Activator(MonDirAccum* chain, const MonDirSpec* spec) noexcept
        : FileAction("Activator"), targets(chain), dirSpec(spec) {}

    /// The filter of the MonDirSpec; null if it did not compile, and then it never arms.
    [[nodiscard]] const SelectNode* getSelectNode() const { return dirSpec->getSelectNode(); }

    void actUpon(Scanner* pScanner, FileAttributes* pInfo) override;
    void directoryEntered(FileAttributes* /*pDirInfo*/) override {}
    void directoryLeft() override {}

private:
    MonDirAccum* const targets;       // not owned
    const MonDirSpec* const dirSpec;  // not owned
};
