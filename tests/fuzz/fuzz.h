#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

/// What a fuzzer does with an input: it ends normally, or the input is kept as a finding.
void fuzz(const std::string& input);

/// Ends the fuzzer, and keeps the input, where `holds` is false.
inline void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

/// Takes the first byte off an input, for a choice; 0 from an empty one.
inline unsigned takeByte(std::string& input) {
    if (input.empty())
        return 0;
    const auto byte = static_cast<unsigned char>(input.front());
    input.erase(0, 1);
    return byte;
}

/// True if `text` holds `line`, which ends in a line end, as a line of its own.
inline bool holdsLine(const std::string& text, const std::string& line) {
    return text.starts_with(line) || text.find("\n" + line) != std::string::npos;
}
