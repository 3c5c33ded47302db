#include <cstdlib>
#include <regex.h>

#include "Scan/MaskMatcher.h"
#include "Scan/PathMask.h"

/// A mask, a zero byte and a text: where the mask compiles, the answer is the system's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t end = input.find('\0');
    if (end == std::string::npos)
        return 0;
    const std::string text = input.c_str() + end + 1;
    std::int32_t form = 0;
    const std::string expression = maskToRegex(input.substr(0, end), form);
    std::string refusal;
    const auto matcher = MaskMatcher::compile(expression, refusal);
    if (expression.empty() || !matcher)
        return 0;
    const bool matched = matcher->matches(text);
    if (size > 100)
        return 0;  // the system takes its time
    regex_t posix;
    if (regcomp(&posix, expression.c_str(), REG_NOSUB) != 0 ||
        matched != (regexec(&posix, text.c_str(), 0, nullptr, 0) == 0))
        std::abort();
    regfree(&posix);
    return 0;
}
