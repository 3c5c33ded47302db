#include "common/nls/messageRecord.h"
#include "fuzz/fuzz.h"

/// A choice of values, and the text of a catalog: it is refused, or it makes a message that
/// keeps its identifier and has an end, whatever the values are.
void fuzz(const std::string& input) {
    static const NlsValues kValues[] = {
        {              },
        {  "text", "\x1b[2J",       "", "more"},
        {         7,      -2147483647 - 1, "text", 1.5},
        {            4860,   4860,            1e308, "x"},
        {            -9,     5L,              6UL, L"wide \u20ac"},
        { L"",    1L << 62,        0, 'c'},
    };
    // 255 values and the text between them, each at its longest, and an identifier.
    constexpr std::size_t longest = 255 * 4860 + 256 * 2302 + 9;
    std::string entry = input;
    const NlsValues& values = kValues[takeByte(entry) % std::size(kValues)];
    NLSMsg message;
    if (decodeMessage(entry, 1, message) != Decoded::MESSAGE)
        return;
    require(message.severity <= 8, "a severity");
    std::string text;
    if (!formatMessage(message, values, text))
        return;
    require(text.size() <= longest, "a text has an end");
    const bool labelled = message.severity <= 2 || message.severity == 8;
    require(labelled || text.starts_with(entry.substr(0, 3)), "the identifier is kept");
}
