#include "common/nls/nlsBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

namespace {

constexpr std::size_t kStep = 4096;  // bytes

}  // namespace

nlsBuffer::nlsBuffer() : buffer(static_cast<char*>(std::malloc(kStep))) {}

nlsBuffer::~nlsBuffer() {
    std::free(buffer);
}

bool nlsBuffer::reserve(std::size_t need) {
    if (!buffer)
        return false;
    if (kilobytes * 1024 >= need)
        return true;
    const std::size_t size = (need / kStep + 1) * kStep;
    void* const grown = std::realloc(buffer, size);
    if (!grown) {
        std::free(buffer);
        buffer = nullptr;
        used = 0;
        return false;
    }
    buffer = static_cast<char*>(grown);
    kilobytes = size / 1024;
    return true;
}

void nlsCharBuffer::append(std::string_view text) {
    if (text.empty() || !reserve(used + text.size()))
        return;
    std::memcpy(buffer + used, text.data(), text.size());
    used += text.size();
}

void nlsWcharBuffer::append(std::string_view text) {
    std::wstring wide;
    std::mbstate_t state{};
    while (!text.empty()) {
        wchar_t character = L'_';
        std::size_t count = std::mbrtowc(&character, text.data(), text.size(), &state);
        if (count > text.size()) {
            state = {};
            character = L'_';
            count = 1;
        }
        wide += character;
        text.remove_prefix(std::max<std::size_t>(count, 1));
    }
    append(std::wstring_view(wide));
}

void nlsWcharBuffer::append(std::wstring_view text) {
    const std::size_t bytes = text.size() * sizeof(wchar_t);
    if (bytes == 0 || !reserve(used + bytes))
        return;
    std::memcpy(buffer + used, text.data(), bytes);
    used += bytes;
}

std::wstring_view nlsWcharBuffer::getBuffer() const {
    // Memory of malloc is aligned for every type.
    return {reinterpret_cast<const wchar_t*>(buffer), used / sizeof(wchar_t)};
}
