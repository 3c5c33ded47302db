#include "Common/GenericPrint.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

#include "Common/GenericException.h"
#include "common/unx/UniqueFd.h"
#include "common/ut/TraceScope.h"
#include "common/ut/makeDirPath.h"

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
    // Armed before anything can go wrong, so that the first write raises in every case.
    output.exceptions(std::ios::badbit | std::ios::failbit);
    try {
        open();
    } catch (const std::ios_base::failure&) {
        trTrace(naMin, "Unable to open file: %s\n", fileName.c_str());
    }
}

void GenericPrint::open() {
    TraceScope scope("GenericPrint::open");
    if (fileName.empty()) {
        trTrace(naMin, "Output file-name is empty.\n");
        return;
    }
    const std::size_t slash = fileName.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        const std::string directory = fileName.substr(0, slash);
        if (makeDirPath(directory) != 0) {
            trTrace(naMin, "Unable to create path: %s\n", directory.c_str());
            return;
        }
    }
    // A link would lead the job elsewhere, and a FIFO would block it. The names in a result
    // are for its owner alone, which a stream cannot ask for.
    const UniqueFd file(::open(fileName.c_str(),
                               O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        output.setstate(std::ios::failbit);
        return;
    }
    output.open(fileName, std::ios::out | std::ios::binary | std::ios::trunc);
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
    try {
        output.close();
    } catch (const std::ios_base::failure& failure) {
        throwVEXIO(failure);
    }
}

void GenericPrint::write(const std::string& line) {
    TraceScope scope("GenericPrint::write");
    if (closed)
        return;
    try {
        output.clear(output.rdstate());  // raises for a failed open, which write() passes over
        output.write(line.data(), static_cast<std::streamsize>(line.size()));
        output.flush();
    } catch (const std::ios_base::failure& failure) {
        throwVEXIO(failure);
    }
}
