#include "Scan/Activator.h"

#include "Scan/MonDirAccum.h"
#include "Scan/SMonDir.h"
#include "common/ut/TraceScope.h"

void Activator::actUpon(Scanner* /*pScanner*/, FileAttributes* pInfo) {
    TraceScope scope("Activator::actUpon");
    if (!targets) {
        trTrace(naMin,
                "Activator::actUpon() : ERROR: The class reference <targets> of type "
                "<MonDirAccum*> is NULL. Leaving method.");
        return;
    }
    SMonDir* directory = targets->directoryFor(pInfo->faName);
    if (!directory) {
        const auto found = std::make_shared<SMonDir>();
        found->faName = pInfo->faName;  // what is awaited to be entered
        for (MonDirAccum* target = targets; target; target = target->getNextTarget())
            target->setDirectory(found);
        directory = found.get();
    }
    // Meant: a match inside a directory that is monitored already names its MonDirSpec
    // once more, for the outer directory.
    directory->smDirSpecs.add(dirSpec);
}
