#pragma once

#include <string>
#include <vector>

#include "Common/Object.h"

using Row = std::vector<std::string>;  // the values of one row of an entity file
using Table = std::vector<Row>;

/// Base of the classes that are built from an entity of the definition file.
class EntityToObjectMapper : public Object {
public:
    EntityToObjectMapper() noexcept : Object("EntityToObjectMapper") {}

    /// Takes the values of `rows` whose column `header` names. The last row wins, field by
    /// field; unknown columns are ignored; no rows leave the object as it is. A row that
    /// is longer or shorter than the header raises VexObjectCreationException 325.
    virtual void inititializeObject(const Row& header, const Table& rows) = 0;
};
