#include "Common/LineReader.h"

#include <algorithm>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>

#include "common/unx/ownFile.h"
#include "common/ut/TraceScope.h"
#include "common/ut/fileParts.h"

namespace {

constexpr std::size_t kPiece = 65536;  // bytes read at once

}  // namespace

bool LineReader::open(const std::string& path) {
    TraceScope scope("LineReader::open");
    file = openRegular(path.c_str(), O_RDONLY, true);
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0 ||
        status.st_size > std::numeric_limits<std::int32_t>::max())
        file.reset();
    seek(0);
    return static_cast<bool>(file);
}

void LineReader::seek(std::int32_t position) {
    at = static_cast<std::uint64_t>(position);
    end = false;
}

LineReader::Result LineReader::next(std::string& line) {
    line.clear();
    bool any = false;
    for (;;) {
        if (!fill())
            return Result::FAILED;
        const std::size_t start = static_cast<std::size_t>(at - pieceAt);
        if (start == piece.size()) {
            end = true;
            return any ? Result::LINE : Result::END;
        }
        any = true;
        const std::size_t lineEnd = std::min(piece.find('\n', start), piece.size());
        line.append(piece, start, lineEnd - start);
        at = pieceAt + lineEnd;
        if (lineEnd < piece.size()) {
            ++at;
            return Result::LINE;
        }
    }
}

/// Makes `piece` hold the next byte, if the file has one.
bool LineReader::fill() {
    if (at >= pieceAt && at < pieceAt + piece.size())
        return true;
    const bool filled = readFileAt(file.get(), at, kPiece, piece);
    if (!filled)
        piece.clear();
    pieceAt = at;
    return filled;
}
