#include "Common/ParserAPI.h"

#include "Common/EntityNames.h"
#include "Common/GenericException.h"
#include "Common/TagExpression.h"
#include "common/ut/TraceScope.h"

namespace {

const std::string kHeaderTag = "[Header]";
const std::string kHeaderEnd = "[/Header]";

void trim(std::string& line) {
    static constexpr char kBlanks[] = "\t\n\r\f ";
    const std::size_t last = line.find_last_not_of(kBlanks);
    line.erase(last == std::string::npos ? 0 : last + 1);
    line.erase(0, line.find_first_not_of(kBlanks));
}

bool opensEntity(const std::string& line, std::string* name = nullptr) {
    return line != kHeaderTag && isOpenTag(line, name);
}

bool closesEntity(const std::string& line) {
    return line != kHeaderEnd && isCloseTag(line);
}

// Meant: a doubled quote at index 0 or 1 stays doubled, and behind each replacement one
// character is passed over, so that every second pair of a run stays.
std::string singleQuotes(const std::string& stripped) {
    std::string result;
    std::size_t copied = 0;
    std::size_t search = 2;
    for (;;) {
        const std::size_t hit = stripped.find("\"\"", search);
        if (hit == std::string::npos)
            break;
        result.append(stripped, copied, hit + 1 - copied);
        copied = hit + 2;
        search = hit + 3;
    }
    return result.append(stripped, copied);
}

void appendField(Row& row, const std::string& piece) {
    if (piece.empty())
        return;
    if (piece.front() == '"' && piece.back() == '"')
        row.push_back(piece.size() < 2 ? std::string()
                                       : singleQuotes(piece.substr(1, piece.size() - 2)));
    else
        row.push_back(piece == "null" ? std::string() : piece);
}

Row splitRow(const std::string& line) {
    Row row;
    bool quoted = false;
    std::size_t start = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '"')
            quoted = !quoted;
        if (line[i] == ',' && !quoted) {
            appendField(row, line.substr(start, i - start));
            start = i + 1;
        }
    }
    appendField(row, line.substr(start));
    return row;
}

}  // namespace

ParserAPI::ParserAPI(const std::string& file) : ParserAPI(file, false) {}

ParserAPI::ParserAPI(const std::string& file, bool needNumEntities) : fileName(file) {
    TraceScope scope("ParserAPI::ParserAPI");
    if (file.empty())
        throwVEXParser(VEX_NO_PATH, "Error, path to scan definition file empty\n");
    trTrace(naMin, "Path to the scan definition file: %s\n", file.c_str());
    initialize(needNumEntities);
}

void ParserAPI::initialize(bool needNumEntities) {
    TraceScope scope("ParserAPI::initialize");
    static constexpr char kOpenFailed[] = "ERROR, not able to open scan definition file\n";
    if (!raf.open(fileName)) {
        trTrace(naMin, "ERROR opening the file '%s'.", fileName.c_str());
        throwVEXParser(VEX_OPEN_FAILED, kOpenFailed);
    }
    if (needNumEntities)
        indexItems();
    else
        readHeaderBlock();
}

void ParserAPI::readHeaderBlock() {
    TraceScope scope("ParserAPI::readHeaderBlock");
    bool inBlock = false;
    std::string type;
    for (std::string line; nextLine(line);) {
        if (!inBlock) {
            inBlock = line == kHeaderTag;
            if (inBlock)
                trTrace(naMax, "Header found\n");
        } else if (isOpenTag(line, &type)) {
            // the row behind it belongs to this type
        } else if (line == kHeaderEnd) {
            trTrace(naMax, "Close header found\n");
            return;
        } else {
            headerTable.emplace(type, splitRow(line));
        }
    }
}

void ParserAPI::indexItems() {
    TraceScope scope("ParserAPI::indexItems");
    std::int32_t start = 0;
    std::int32_t count = 0;
    std::string closeText;
    for (std::string line; nextLine(line);) {
        if (line == kHeaderEnd)
            start = here();
        if (closeText.empty()) {
            if (line.starts_with('[') && line != kHeaderTag)
                closeText = "[/" + line.substr(1);
        } else if (line == closeText) {
            entityIndex.emplace(count++, closeText);
            closeText.clear();
        }
    }
    failed = false;
    seek(start, "initialize(bool needNumEntities)");
}

std::unique_ptr<ParserAPI::Entity> ParserAPI::findFirstEntity(bool lookForHeader) {
    TraceScope scope("ParserAPI::findFirstEntity");
    std::string tag;
    for (std::string line; nextLine(line);) {
        if (lookForHeader && line == kHeaderEnd)
            continue;
        lookForHeader = false;
        if (opensEntity(line, &tag))
            return makeEntity(tag);
    }
    return nullptr;
}

std::unique_ptr<ParserAPI::Entity> ParserAPI::findNextEntity(const Entity* ef) {
    TraceScope scope("ParserAPI::findNextEntity");
    if (!ef)
        return findFirstEntity(false);

    seek(ef->filePointer, "findNextEntity()");
    const std::string closeText = "[/" + ef->name + "]";
    // Meant: a stray close tag takes the depth below 0, and the entity's end is then not
    // found any more; a broken nesting is not repaired.
    int depth = 0;
    for (std::string line; nextLine(line);) {
        if (opensEntity(line)) {
            ++depth;
        } else if (closesEntity(line)) {
            if (depth == 0 && line == closeText)
                break;
            --depth;
        }
    }
    return findFirstEntity(false);
}

Row ParserAPI::getEntityHeader(const Entity& ef) {
    TraceScope scope("ParserAPI::getEntityHeader");
    headerTableIterator = headerTable.find(ef.name);
    if (headerTableIterator == headerTable.end())
        throwVEXParser(VEX_NO_SUCH_HEADER, "Element %s not found on headerTable\n");
    return headerTableIterator->second;
}

std::vector<std::unique_ptr<ParserAPI::Entity>> ParserAPI::getEntityChildren(const Entity& ef) {
    TraceScope scope("ParserAPI::getEntityChildren");
    seek(ef.filePointer, "getEntityChildren()");
    std::vector<std::unique_ptr<Entity>> children;
    const std::string closeText = "[/" + ef.name + "]";
    int depth = 0;
    for (std::string line; nextLine(line);) {
        if (opensEntity(line)) {
            if (depth == 0)
                children.push_back(makeEntity(line.substr(1, line.size() - 2)));
            ++depth;
        } else if (closesEntity(line)) {
            if (depth == 0 && line == closeText)
                break;
            // Meant: at depth 0 another entity's close tag takes it to -1 for good.
            --depth;
        }
    }
    return children;
}

Table ParserAPI::getEntityData(const Entity& ef, int index) {
    TraceScope scope("ParserAPI::getEntityData");
    seek(ef.dataPointer, "getEntityData()");
    Table rows;
    int count = 0;
    while (!raf.atEnd()) {
        std::string line;
        if (!nextLine(line))
            failRead("getLine() in ParserAPI::getEntityData()");
        if (line.empty() || isOpenTag(line) || isCloseTag(line))
            break;
        if (index < 0 || index == count)
            rows.push_back(splitRow(line));
        ++count;
    }
    return rows;
}

/// The next line; false at the end, which leaves the reader failed.
bool ParserAPI::nextLine(std::string& line) {
    TraceScope scope("ParserAPI::nextLine");
    const LineReader::Result result = failed ? LineReader::Result::END : raf.next(line);
    failed = result != LineReader::Result::LINE;
    // What could not be read is not the end: the request would be a part of what is wanted.
    if (result == LineReader::Result::FAILED)
        failRead("getLine() in ParserAPI::nextLine()");
    if (!failed)
        trim(line);
    return !failed;
}

void ParserAPI::seek(std::int32_t position, const char* operation) {
    TraceScope scope("ParserAPI::seek");
    failed = failed || position < 0;
    if (failed)
        failRead(std::string("seekg() in ParserAPI::") + operation);
    raf.seek(position);
}

/// The position; behind a last line without a line feed there is none to come back to.
std::int32_t ParserAPI::here() {
    if (!raf.atEnd())
        return raf.position();
    failed = true;
    return -1;
}

void ParserAPI::failRead(const std::string& operation) const {
    throwVEXParser(VEX_READ_FAILED, "ERROR on executing " + operation +
                                        ". ERRORCODE: 17 File Name: " + fileName);
}

std::unique_ptr<ParserAPI::Entity> ParserAPI::makeEntity(const std::string& tag) {
    TraceScope scope("ParserAPI::makeEntity");
    auto entity = std::make_unique<Entity>();
    const std::size_t comma = tag.find(',');
    entity->name = tag.substr(0, comma);
    if (comma != std::string::npos)
        entity->subName = tag.substr(comma + 1);
    entity->filePointer = entity->dataPointer = here();
    return entity;
}
