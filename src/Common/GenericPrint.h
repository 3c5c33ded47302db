#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "Common/EntityToObjectMapper.h"
#include "common/unx/UniqueFd.h"

/// Writes an entity file. Every line is written at once and as a whole, so that a killed job
/// leaves a file that is complete up to its last row.
///
/// Format 3 is the format of result files (see ParserAPI). Formats 1 ("Begin X", "X.key=
/// value") and 2 ("<X>", "<key>value</key>") write named values instead of rows.
///
/// A file that cannot be made shows at the first write: every write that fails raises
/// VEXIOException by pointer, and so does every later one. Scan thread only.
class GenericPrint {
public:
    enum Format : std::int32_t { TEXT = 1, MARKUP = 2, ENTITIES = 3 };

    /// Makes the directories of `file` and opens it for writing, emptying it. A failure
    /// shows later, see above.
    GenericPrint(std::int32_t outputFormat, const std::string& file);
    GenericPrint(const GenericPrint&) = delete;
    GenericPrint& operator=(const GenericPrint&) = delete;

    void startEntity(const std::string& name, const std::string& subName = {});
    void endEntity(const std::string& name);

    /// Formats 1 and 2 only. An empty value, " " and "-1" are written as "N/A".
    void namedValue(const std::string& key, const std::string& value);

    /// Format 3 only. Each value is quoted; an empty one is written as nothing.
    void row(const Row& values);

    /// Format 3 only. Column names, unquoted.
    void headerRow(const Row& columns);

    /// Writes `text` as it stands and closes the file; later calls do nothing. A file that is
    /// no more under its name, because somebody removed it or another took its place, is a
    /// failure: its reader would find nothing, or not this.
    void close(const std::string& text = {});

    /// Closes a file that is to be removed. Never fails.
    void abandon() noexcept;

private:
    void open();
    void write(const std::string& line);
    [[noreturn]] void fail(int error);

    const std::int32_t format;
    std::int32_t level = -1;                  // of the innermost open entity
    std::array<std::string, 50> entityNames;  // by level, in formats 1 and 2
    const std::string fileName;
    UniqueFd output;
    int failure = 0;  // errno of the first failure, which lasts
    bool closed = false;
};
