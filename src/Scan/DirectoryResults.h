#pragma once

#include "Scan/CuStatResults.h"
#include "Scan/SMonDir.h"

/// What a statistic found in a monitored directory.
struct DirectoryResults {
    CuStatResults results;
    SMonDir directory;
};
