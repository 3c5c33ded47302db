#include "common/nls/messageRecord.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

#include "common/nls/formatValue.h"
#include "common/nls/nlsBuffer.h"
#include "common/ut/TraceScope.h"

namespace {

constexpr std::string_view kSeverities = "ZTRKIWESL";
constexpr char kReserved = 'M';
constexpr char kEscapedZero = '\x10';
constexpr char kMarker = '\x12';
constexpr std::size_t kMarkerReach = 7;       // bytes from the end
constexpr std::size_t kIdentifierLength = 9;  // with its blank
constexpr std::size_t kFastText = 4860;       // bytes of a text of mode 1, or of one value
constexpr std::size_t kMaxPiece = 2302;       // bytes
constexpr std::size_t kOrderOffset = 6;
constexpr std::size_t kCountOffset = 5;

bool keepsIdentifier(std::uint8_t severity) {
    return severity > 2 && severity != 8;
}

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

/// Of mode 0, with zero bytes where they belong.
void undoEscape(std::string& body) {
    if (body.empty() || body[0] != kEscapedZero)
        return;
    body[0] = '\0';
    for (std::size_t i = 4; i < body.size(); ++i) {
        if (body[i] == kEscapedZero)
            body[i] = '\0';
    }
}

/// Cuts the tail off.
void takeTail(std::string_view& entry, NLSMsg& message) {
    const std::size_t first = entry.size() - std::min(entry.size(), kMarkerReach);
    const std::size_t marker = entry.substr(first).rfind(kMarker);
    if (marker == std::string_view::npos)
        return;
    const std::string_view tail = entry.substr(first + marker + 1);
    std::copy(tail.begin(), tail.end(), message.tail.begin());
    entry = entry.substr(0, first + marker);
}

/// A record of mode 0 while it is read. Bytes behind the end read as "no more".
class RecordReader {
public:
    explicit RecordReader(std::string_view record) : rest(record) {}

    bool byte(std::size_t& value) {
        if (rest.empty())
            return false;
        value = static_cast<unsigned char>(rest.front());
        rest.remove_prefix(1);
        return true;
    }

    /// Up to a zero byte.
    bool text(std::string_view& value) {
        const std::size_t end = rest.find('\0');
        if (end == std::string_view::npos)
            return false;
        value = rest.substr(0, end);
        rest.remove_prefix(end + 1);
        return true;
    }

    /// Up to a zero byte or the end.
    std::string_view piece() {
        const std::size_t end = std::min(rest.find('\0'), rest.size());
        const std::string_view value = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        return value;
    }

private:
    std::string_view rest;
};

struct Descriptor {
    std::size_t stars = 0;
    std::size_t kind = 0;
    std::string_view format;
    std::string value;  // as it goes into the text
};

bool readDescriptors(RecordReader& reader, std::vector<Descriptor>& descriptors) {
    constexpr std::size_t mostStars = 2;
    constexpr std::size_t lastKind = 3;
    return std::all_of(descriptors.begin(), descriptors.end(), [&](Descriptor& descriptor) {
        return reader.byte(descriptor.stars) && reader.byte(descriptor.kind) &&
               reader.text(descriptor.format) && descriptor.stars <= mostStars &&
               descriptor.kind <= lastKind;
    });
}

/// Puts values and pieces together in the order that the record asks for.
bool nlOrderInsert(std::string_view body, const NlsValues& values, nlsCharBuffer& buffer) {
    FoundationScope scope("nlOrderInsert");
    if (body.size() < kOrderOffset)
        return false;
    const auto count = static_cast<unsigned char>(body[kCountOffset]);
    const std::string_view order = body.substr(kOrderOffset, count);
    RecordReader reader(body.substr(kOrderOffset + order.size()));
    std::vector<Descriptor> descriptors(count);
    if (order.size() < count || !readDescriptors(reader, descriptors))
        return false;

    std::size_t next = 0;
    for (const char index : order) {
        if (static_cast<unsigned char>(index) >= count)
            return false;
        Descriptor& descriptor = descriptors[static_cast<unsigned char>(index)];
        descriptor.value.clear();
        if (!formatValues(descriptor.format, values, next, kFastText, descriptor.value))
            return false;
    }
    buffer.append(reader.piece().substr(0, kMaxPiece));
    for (const Descriptor& descriptor : descriptors) {
        buffer.append(descriptor.value);
        buffer.append(reader.piece().substr(0, kMaxPiece));
    }
    return true;
}

}  // namespace

Decoded decodeMessage(std::string_view entry, int number, NLSMsg& message) {
    FoundationScope scope("decodeMessage");
    constexpr std::size_t firstPlace = 4;  // at which the severity can stand
    std::size_t severity = firstPlace;
    while (severity < entry.size() && isDigit(entry[severity]))
        ++severity;
    if (severity >= entry.size())
        return Decoded::CORRUPTED;
    if (entry[severity] == kReserved)
        return Decoded::RESERVED;
    const std::size_t code = kSeverities.find(entry[severity]);
    const std::size_t body = severity + 2;
    if (code == std::string_view::npos || entry.size() <= body || entry[severity + 1] != ' ')
        return Decoded::CORRUPTED;

    message.number = static_cast<std::uint16_t>(number);
    message.severity = static_cast<std::uint8_t>(code);
    std::string identifier(entry.substr(0, body));
    takeTail(entry, message);
    std::string record(entry.substr(std::min(body, entry.size())));
    undoEscape(record);
    if (record.empty() || (record[0] != '\0' && record[0] != '\x01'))
        return Decoded::CORRUPTED;
    if (keepsIdentifier(message.severity)) {
        if (identifier.size() == kIdentifierLength + 1)
            identifier.erase(3, 1);
        if (identifier.size() != kIdentifierLength)
            return Decoded::CORRUPTED;
        record.insert(0, identifier);
    }
    message.text = std::move(record);
    return Decoded::MESSAGE;
}

bool formatMessage(const NLSMsg& message, const NlsValues& values, std::string& text) {
    FoundationScope scope("formatMessage");
    nlsCharBuffer buffer;
    std::string_view body = message.text;
    if (keepsIdentifier(message.severity)) {
        buffer.append(body.substr(0, kIdentifierLength));
        body.remove_prefix(kIdentifierLength);
    }
    if (body[0] == '\0') {
        if (!nlOrderInsert(body, values, buffer))
            return false;
    } else {
        std::string formatted;
        std::size_t next = 0;
        if (!formatValues(body.substr(1), values, next, kFastText, formatted))
            return false;
        buffer.append(formatted);
    }
    text.assign(buffer.getBuffer(), buffer.length());
    return true;
}
