#pragma once

#include "Common/EntityToObjectMapper.h"

class GenericPrint;

/// Writes the header block of a result file: every entity type in its fixed order, each
/// with its columns. `agentScanColumns` are those of the first type.
void printResultHeader(GenericPrint& out, const Row& agentScanColumns);
