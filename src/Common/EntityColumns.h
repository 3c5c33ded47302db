#pragma once

#include <cstddef>
#include <cstdlib>
#include <string>
#include <type_traits>

#include "Common/EntityToObjectMapper.h"
#include "Common/GenericException.h"

/// The columns of an entity's class as a table: a new column is a new row. The table is
/// in the order in which the columns are written; columns that are only read stand behind.
///
///     constexpr Column<MonDirSpec> kColumns[] = {
///         {"mdsID", readNumber<&MonDirSpec::mdsID>, writeNumber<&MonDirSpec::mdsID>},
///         ...
template <class T>
struct Column {
    const char* name;
    void (*read)(T& object, const std::string& value);  // null: not read
    std::string (*write)(const T& object);              // null: not written
};

/// The number at the start of a text, in decimal; 0 if there is none.
inline long long decimal(const std::string& text) {
    return std::strtoll(text.c_str(), nullptr, 10);
}

/// A number, cut down to the width of its field.
template <auto field, class T>
void readNumber(T& object, const std::string& value) {
    using Number = std::remove_reference_t<decltype(object.*field)>;
    object.*field = static_cast<Number>(decimal(value));
}

template <auto field, class T>
std::string writeNumber(const T& object) {
    return std::to_string(object.*field);
}

/// The numbers of an array as one cell, with a comma between each two.
template <auto field, class T>
std::string writeNumbers(const T& object) {
    std::string cell;
    for (const auto number : object.*field) {
        if (!cell.empty())
            cell += ',';
        cell += std::to_string(number);
    }
    return cell;
}

template <auto field, class T>
void readText(T& object, const std::string& value) {
    object.*field = value;
}

template <auto field, class T>
std::string writeText(const T& object) {
    return object.*field;
}

/// A text of which an empty one is written as "null".
template <auto field, class T>
std::string writeTextOrNull(const T& object) {
    return (object.*field).empty() ? "null" : object.*field;
}

/// "1" or "0".
template <auto field, class T>
std::string writeBit(const T& object) {
    return object.*field ? "1" : "0";
}

/// "Y" or "N".
template <auto field, class T>
std::string writeFlag(const T& object) {
    return object.*field ? "Y" : "N";
}

/// Sets the fields of `object` whose columns `header` names; the lengths must agree.
template <class T, std::size_t n>
void readRow(T& object, const Column<T> (&columns)[n], const Row& header, const Row& row) {
    for (std::size_t i = 0; i < row.size(); ++i) {
        for (const Column<T>& column : columns) {
            if (column.read && header[i] == column.name)
                column.read(object, row[i]);
        }
    }
}

/// The rule of most classes: every row in turn, 325 for a row of another length.
template <class T, std::size_t n>
void readRows(T& object, const Column<T> (&columns)[n], const Row& header, const Table& rows,
              const char* complaint) {
    for (const Row& row : rows) {
        if (row.size() != header.size()) {
            trTrace(naMin, "%s", complaint);
            throwVexObjectCreation(VEX_COLUMN_COUNT);
        }
        readRow(object, columns, header, row);
    }
}

template <class T, std::size_t n>
Row columnNames(const Column<T> (&columns)[n]) {
    Row names;
    for (const Column<T>& column : columns) {
        if (column.write)
            names.emplace_back(column.name);
    }
    return names;
}

template <class T, std::size_t n>
Row columnValues(const Column<T> (&columns)[n], const T& object) {
    Row values;
    for (const Column<T>& column : columns) {
        if (column.write)
            values.push_back(column.write(object));
    }
    return values;
}

/// A row that begins with the cells of its base class.
inline Row joinedRows(Row row, const Row& more) {
    row.insert(row.end(), more.begin(), more.end());
    return row;
}
