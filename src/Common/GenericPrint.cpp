#include "Common/GenericPrint.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

#include "Common/GenericException.h"
#include "common/unx/ownFile.h"
#include "common/unx/systemCalls.h"
#include "common/ut/TraceScope.h"
#include "common/ut/makeDirPath.h"
#include "common/ut/text.h"

namespace {

constexpr std::size_t kRowCapacity = 256;  // characters

// Value text between double quotes: line ends as blanks, quotes doubled.
void appendQuoted(std::string& line, const std::string& value) {
    line += '"';
    for (const char c : value) {
        if (c == '\n' || c == '\r') {
            line += ' ';
        } else {
            if (c == '"')
                line += '"';
            line += c;
        }
    }
    line += '"';
}

/// A line of cells. Of quoted ones an empty one is written as nothing.
std::string joined(const Row& cells, bool quoted) {
    std::string line;
    line.reserve(kRowCapacity);
    for (const std::string& cell : cells) {
        if (&cell != &cells.front())
            line += ',';
        if (!quoted)
            line += cell;
        else if (!cell.empty())
            appendQuoted(line, cell);
    }
    line += '\n';
    return line;
}

std::string withoutLineFeeds(std::string value) {
    std::replace(value.begin(), value.end(), '\n', ' ');
    return value;
}

}  // namespace

GenericPrint::GenericPrint(std::int32_t outputFormat, const std::string& file)
    : format(outputFormat), fileName(file) {
    TraceScope scope("GenericPrint::GenericPrint");
    open();
}

void GenericPrint::open() {
    TraceScope scope("GenericPrint::open");
    failure = ENOENT;  // until the file is open
    if (fileName.empty()) {
        trTrace(naMin, "Output file-name is empty.\n");
        return;
    }
    const std::size_t slash = fileName.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        const std::string directory = fileName.substr(0, slash);
        if (makeDirPath(directory) != 0) {
            failure = errno;
            trTrace(naMin, "Unable to create path: %s\n", directory.c_str());
            return;
        }
    }
    // The names in a result are for its owner alone.
    output = openOwnFile(fileName.c_str(), O_WRONLY | O_CREAT, 0600);
    if (output && cutFile(output.get(), 0)) {
        failure = 0;
        return;
    }
    failure = errno;
    trTrace(naMin, "Unable to open file: %s\n", fileName.c_str());
}

void GenericPrint::startEntity(const std::string& name, const std::string& subName) {
    TraceScope scope("GenericPrint::startEntity");
    switch (format) {
        case ENTITIES:
            write("[" + name + (subName.empty() ? "" : "," + subName) + "]\n");
            return;
        case MARKUP:
            write("<" + name + ">");
            break;
        default:
            write("Begin " + name + "\n");
            break;
    }
    const auto deepest = static_cast<std::int32_t>(entityNames.size()) - 1;
    level = std::min(level + 1, deepest);
    entityNames[static_cast<std::size_t>(level)] = name;
}

void GenericPrint::endEntity(const std::string& name) {
    TraceScope scope("GenericPrint::endEntity");
    switch (format) {
        case ENTITIES:
            write("[/" + name + "]\n");
            return;
        case MARKUP:
            write("</" + name + ">");
            break;
        default:
            write("End " + name + "\n");
            break;
    }
    level = std::max(level - 1, -1);
}

void GenericPrint::namedValue(const std::string& key, const std::string& value) {
    TraceScope scope("GenericPrint::namedValue");
    if (format == ENTITIES)
        return;

    const bool absent = value.empty() || value == " " || value == "-1";
    const std::string text = absent ? "N/A" : withoutLineFeeds(value);
    if (format == MARKUP) {
        write("<" + key + ">" + text + "</" + key + ">");
        return;
    }
    const std::string current = level < 0 ? "" : entityNames[static_cast<std::size_t>(level)];
    write(current + "." + key + "=" + text + "\n");
}

void GenericPrint::row(const Row& values) {
    TraceScope scope("GenericPrint::row");
    if (format == ENTITIES)
        write(joined(values, true));
}

void GenericPrint::headerRow(const Row& columns) {
    TraceScope scope("GenericPrint::headerRow");
    if (format == ENTITIES)
        write(joined(columns, false));
}

void GenericPrint::close(const std::string& text) {
    TraceScope scope("GenericPrint::close");
    if (closed)
        return;
    write(text);
    closed = true;
    const bool there = isAtPath(output.get(), fileName.c_str());
    if (!closeFile(output.release()))
        fail(errno);
    if (!there)
        fail(ESTALE);
}

void GenericPrint::abandon() noexcept {
    TraceScope scope("GenericPrint::abandon");
    closed = true;
    output.reset();
}

void GenericPrint::write(const std::string& line) {
    TraceScope scope("GenericPrint::write");
    if (closed)
        return;
    if (failure != 0)
        fail(failure);
    if (!writeWhole(output.get(), line))
        fail(errno);
}

void GenericPrint::fail(int error) {
    failure = error;
    throwVEXIO(withErrnoText(fileName, error));
}
