#pragma once

#include <memory>
#include <string>

#include "Scan/CuStatAccum.h"

class SMonDir;

/// One directory statistic on the monitored directories of one depth. It stands idle in
/// the walk until an Activator arms it for a directory; from the moment in which that
/// directory is entered until it is left, it is the statistic of that directory alone.
/// The results then go to the statistic, and it is idle again.
///
/// The statistics of a depth form a chain that is armed as one.
class MonDirAccum : public CuStatAccum {
public:
    /// `next` is the member of the chain that was made before. All must outlive this.
    MonDirAccum(CuStatDef* directoryStatistic, Filesystem* where, MonDirAccum* next);

    /// Arms this member for a directory. A null argument changes nothing.
    void setDirectory(std::shared_ptr<SMonDir> pDirectory);

    /// The directory this is armed for or runs in; null when idle. A directory that was
    /// armed for and not entered is forgotten as soon as another one, `name`, is met.
    [[nodiscard]] SMonDir* directoryFor(const std::string& name);

    [[nodiscard]] MonDirAccum* getNextTarget() const { return nextTarget; }

    void actUpon(Scanner* pScanner, FileAttributes* pInfo) override;
    void directoryEntered(FileAttributes* pDirInfo) override;
    void directoryLeft() override;

private:
    [[nodiscard]] bool isIdle() const;
    void publish();

    Filesystem* const filesystem;        // not owned
    CuStatDef* const statistic;          // not owned
    std::shared_ptr<SMonDir> directory;  // shared with the chain
    MonDirAccum* const nextTarget;       // not owned; null at the end of the chain
};
