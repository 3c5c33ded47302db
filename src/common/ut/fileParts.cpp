#include "common/ut/fileParts.h"

#include <algorithm>

#include "common/unx/systemCalls.h"

namespace {

constexpr std::size_t kPiece = 65536;  // bytes moved at once

}  // namespace

bool writeFileAt(int fd, std::uint64_t offset, std::string_view text) {
    return writeWholeAt(fd, text, offset);
}

bool readFileAt(int fd, std::uint64_t offset, std::size_t most, std::string& text) {
    text.resize(most);
    const ssize_t length = readWholeAt(fd, text.data(), most, offset);
    text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return length >= 0;
}

bool copyFilePart(int source, std::uint64_t from, std::uint64_t end, int target,
                  std::uint64_t place) {
    std::string piece;
    while (from < end) {
        const std::size_t most =
            static_cast<std::size_t>(std::min<std::uint64_t>(kPiece, end - from));
        if (!readFileAt(source, from, most, piece) || !writeFileAt(target, place, piece))
            return false;
        if (piece.empty())
            return true;
        from += piece.size();
        place += piece.size();
    }
    return true;
}

std::uint64_t behindLine(int fd, std::uint64_t from, std::uint64_t end) {
    std::string piece;
    while (from < end) {
        const std::size_t most =
            static_cast<std::size_t>(std::min<std::uint64_t>(kPiece, end - from));
        if (!readFileAt(fd, from, most, piece) || piece.empty())
            return end;
        const std::size_t lineEnd = piece.find('\n');
        if (lineEnd != std::string::npos)
            return from + lineEnd + 1;
        from += piece.size();
    }
    return end;
}

std::string headerField(std::uint64_t number, std::size_t width) {
    std::string text = std::to_string(number);
    text.resize(width, ' ');
    return text;
}
