#include "common/nls/nlsBuffer.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>
#include <string>

namespace {

constexpr std::size_t kStep = 4096;  // bytes

}  // namespace

nlsBuffer::nlsBuffer() : buffer(new (std::nothrow) char[kStep]) {}

nlsBuffer::~nlsBuffer() {
    delete[] buffer;
}

bool nlsBuffer::reserve(std::size_t need) {
    if (!buffer)
        return false;
    if (kilobytes * 1024 >= need)
        return true;
    const std::size_t size = (need / kStep + 1) * kStep;
    char* const grown = new (std::nothrow) char[size];
    if (grown) {
        std::memcpy(grown, buffer, used);
        kilobytes = size / 1024;
    } else {
        used = 0;
    }
    delete[] buffer;
    buffer = grown;
    return grown != nullptr;
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
    // Memory of operator new is aligned for every type.
    return {reinterpret_cast<const wchar_t*>(buffer), used / sizeof(wchar_t)};
}
