#include "Scan/unix/NamePosition.h"

#include <cstring>
#include <dirent.h>
#include <string_view>

namespace {

const dirent64& recordAt(const char* records, std::size_t offset) {
    return *reinterpret_cast<const dirent64*>(records + offset);
}

}  // namespace

NamePosition NamePosition::behind(const char* records, std::size_t bytes) {
    NamePosition place;
    const dirent64* previous = nullptr;
    const dirent64* last = nullptr;
    for (std::size_t offset = 0; offset < bytes; offset += last->d_reclen) {
        previous = last;
        last = &recordAt(records, offset);
    }
    if (previous)
        place.before = previous->d_off;
    if (last) {
        place.after = last->d_off;
        place.last = last->d_name;
    }
    return place;
}

// No scope objects: these run on the cancellable thread of guarded calls too.

bool beginsWith(const char* records, std::size_t bytes, const char* name) {
    return std::strcmp(bytes > 0 ? recordAt(records, 0).d_name : "", name) == 0;
}

void copyFirstName(const char* records, std::size_t bytes, FirstName& name) {
    const char* const first = bytes > 0 ? recordAt(records, 0).d_name : "";
    name[std::string_view(first).copy(name.data(), name.size() - 1)] = 0;
}

std::size_t offsetAfter(const char* records, std::size_t bytes, const std::string& name,
                        bool firstOnly) {
    for (std::size_t offset = 0; offset < bytes;) {
        const dirent64& record = recordAt(records, offset);
        offset += record.d_reclen;
        if (name == record.d_name)
            return offset;
        if (firstOnly)
            break;
    }
    return 0;
}
