#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "common/nls/NLSMsg.h"
#include "common/nls/NlsValue.h"

/// The form of a message in a catalog.
///
///     identifier   three letters and decimal digits; of five digits the first is dropped
///     severity     a letter, the first non-digit from the fifth character on
///     separator    a blank
///     body         the record below
///     tail         optional: byte 0x12 among the last seven, and what stands behind it
///
/// The body begins with its mode. Mode 1 is followed by a format of printf for values in
/// the order of the call. Mode 0 lets a translator change the order; catalogs cannot hold
/// zero bytes, so that in this mode 0x10 stands for 0 at offset 0 and from offset 4 on:
///
///     offset 0      0
///     offset 1      4 bytes without meaning
///     offset 5      n, the number of values
///     offset 6      n bytes: the k-th value of the call belongs to descriptor order[k]
///     then          n descriptors: number of "*" (1 byte), kind (1 byte: 0 text or
///                   integer, 1 int, 2 long, 3 double), format up to a zero byte
///     then          n + 1 pieces of text, each up to a zero byte or the end; value i
///                   stands between the pieces i and i + 1
///
/// Severities are Z 0, T 1, R 2, K 3, I 4, W 5, E 6, S 7, L 8. Of Z, T, R and L, which are
/// labels, the identifier is not kept. M is reserved.

/// What decoding gave.
enum class Decoded { MESSAGE, RESERVED, CORRUPTED };

/// Decodes the text of a catalog into `message`.
[[nodiscard]] Decoded decodeMessage(std::string_view entry, int number, NLSMsg& message);

/// The message with its values in `text`; false if record and values do not fit.
[[nodiscard]] bool formatMessage(const NLSMsg& message, const NlsValues& values,
                                 std::string& text);
