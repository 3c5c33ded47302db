#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Common/EntityToObjectMapper.h"
#include "Common/LineReader.h"

/// Reads an entity file by name and position, without ever holding its tree in memory.
///
/// A file is a sequence of lines, each trimmed of blanks, tabs and line ends:
///
///     [Header]                   opens the header block
///     [AgentScan]                a type ...
///     asJobName,asScanningCompID ... and its columns
///     [/Header]
///     [AgentScan]                an entity: its rows, then its children, then its end
///     "job",42
///     [/AgentScan]
///
/// A row is cut at commas outside double quotes. A piece of no length gives no field; a
/// quoted piece loses its quotes, and doubled quotes inside become single ones from the
/// third character on; the piece null gives an empty field.
///
/// The stream position is shared: operations do not nest. An entity whose end is missing
/// leaves the reader failed, and the next operation that seeks raises 17. All failures are
/// VEXParserException by value: 12 no path, 13 no readable regular file, 17 the file ended
/// too early or could not be read on, 321 a type without header. Main thread only.
class ParserAPI {
public:
    /// A found entity. Both positions are just behind its open tag.
    struct Entity {
        std::string name;  // up to the comma, if there is one
        std::int32_t filePointer = 0;
        std::int32_t dataPointer = 0;
        std::string subName;  // behind the comma
    };

    explicit ParserAPI(const std::string& file);
    /// With `needNumEntities` the file is indexed and no header block is read.
    ParserAPI(const std::string& file, bool needNumEntities);

    /// The next open tag from the current position, null at the end of the file.
    [[nodiscard]] std::unique_ptr<Entity> findFirstEntity(bool lookForHeader);

    /// The next sibling of `ef`; the first entity for null; null at the end.
    [[nodiscard]] std::unique_ptr<Entity> findNextEntity(const Entity* ef);

    /// The column names of the entity's type.
    [[nodiscard]] Row getEntityHeader(const Entity& ef);

    /// The direct children in file order; those found so far if the file ends early.
    [[nodiscard]] std::vector<std::unique_ptr<Entity>> getEntityChildren(const Entity& ef);

    /// All data rows; with an index of 0 or more, that row alone.
    [[nodiscard]] Table getEntityData(const Entity& ef, int index = -1);

    /// Close texts of the items of the file, by their number; empty unless indexed.
    [[nodiscard]] const std::map<std::int32_t, std::string>& getEntityIndex() const {
        return entityIndex;
    }

private:
    void initialize(bool needNumEntities);
    void readHeaderBlock();
    void indexItems();
    bool nextLine(std::string& line);
    void seek(std::int32_t position, const char* operation);
    [[nodiscard]] std::int32_t here();
    [[noreturn]] void failRead(const std::string& operation) const;
    [[nodiscard]] std::unique_ptr<Entity> makeEntity(const std::string& tag);

    std::string fileName;
    LineReader raf;
    bool failed = false;  // the end was passed; later operations that seek fail
    std::map<std::int32_t, std::string> entityIndex;
    std::map<std::string, Row> headerTable;  // type to column names
    std::map<std::string, Row>::const_iterator headerTableIterator;
};
