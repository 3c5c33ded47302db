#include "Scan/Accumulator.h"

#include "common/ut/trace.h"

void Accumulator::traceNullArgument(const char* names) {
    trTrace(naMin, "ERROR: At least one of the references %s is NULL. Leaving method.", names);
}
