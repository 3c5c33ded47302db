#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>

/// How far the names of a directory have been read, to go on from there through another
/// descriptor of it.
struct NamePosition {
    std::int64_t before = 0;  // offset in the directory of the name that was read last
    std::int64_t after = 0;   // offset of what follows it
    std::string last;         // that name; empty for the beginning of the directory

    /// The position at the end of records that getdents64(2) gave.
    [[nodiscard]] static NamePosition behind(const char* records, std::size_t bytes);
};

/// The offset in the records that follows the one of this name; 0 if there is none.
/// `firstOnly`: only the first record is looked at.
[[nodiscard]] std::size_t offsetAfter(const char* records, std::size_t bytes,
                                      const std::string& name, bool firstOnly);

/// True if the name of the first record is `name`, or if there is no record and no name.
[[nodiscard]] bool beginsWith(const char* records, std::size_t bytes, const char* name);

/// Copies the name of the first record; an empty one if there is no record.
using FirstName = std::array<char, 256>;
void copyFirstName(const char* records, std::size_t bytes, FirstName& name);

/// Goes to the position: 0 or an errno value, ESTALE if the name is gone. `seek` is as lseek(2)
/// from the beginning. `read` is as getdents64(2) and puts records to `records`; then those
/// that begin at `begin` of the `bytes` read last are the next ones.
///
/// An offset of another descriptor need not hold everywhere, so the name decides: where it is
/// not at its offset, it is looked for from the beginning. A name that was removed meanwhile
/// is passed if the offsets before and after it lead to the same entry. Allocates nothing.
template <class Seek, class Read>
int findPosition(const NamePosition& place, const char* records, const Seek& seek,
                 const Read& read, std::size_t& begin, std::size_t& bytes) {
    begin = bytes = 0;
    FirstName next;  // at the offset of the last one
    if (place.last.empty())
        return seek(0) < 0 ? errno : 0;
    for (const bool fromStart : {false, true}) {
        if (seek(fromStart ? 0 : place.before) < 0)
            return errno;
        for (;;) {
            const ssize_t length = read();
            if (length < 0)
                return errno;
            bytes = static_cast<std::size_t>(length);
            begin = offsetAfter(records, bytes, place.last, !fromStart);
            if (begin > 0)
                return 0;
            if (!fromStart)
                copyFirstName(records, bytes, next);
            if (length == 0 || !fromStart)
                break;
        }
    }
    if (seek(place.after) < 0)
        return errno;
    const ssize_t length = read();
    if (length < 0)
        return errno;
    bytes = static_cast<std::size_t>(length);
    return beginsWith(records, bytes, next.data()) ? 0 : ESTALE;
}
