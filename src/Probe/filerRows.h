#pragma once

#include "Common/EntityColumns.h"
#include "common/ut/trace.h"

/// The reading rule of filers and what belongs to them: a row of another length than the
/// header ends the reading with a trace and is no failure.
template <class T, std::size_t n>
void readFilerRows(T& object, const Column<T> (&columns)[n], const Row& header,
                   const Table& rows, const char* function) {
    for (const Row& row : rows) {
        if (row.size() != header.size()) {
            trTrace(naMin, "Exit: %s, innerArray.size() != headerArray.size()\n", function);
            return;
        }
        readRow(object, columns, header, row);
    }
}
