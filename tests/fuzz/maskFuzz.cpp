#include <regex.h>

#include "Scan/MaskMatcher.h"
#include "Scan/PathMask.h"
#include "fuzz/fuzz.h"

/// A mask, a zero byte and a text: where the mask compiles, the answer is the system's.
void fuzz(const std::string& input) {
    const std::size_t end = input.find('\0');
    if (end == std::string::npos)
        return;
    const std::string text = input.c_str() + end + 1;
    std::int32_t form = 0;
    const std::string expression = maskToRegex(input.substr(0, end), form);
    std::string refusal;
    const auto matcher = MaskMatcher::compile(expression, refusal);
    if (expression.empty() || !matcher)
        return;
    const bool matched = matcher->matches(text);
    if (input.size() > 100)
        return;  // the system takes its time
    regex_t posix;
    require(regcomp(&posix, expression.c_str(), REG_NOSUB) == 0, "the system compiles it too");
    require(matched == (regexec(&posix, text.c_str(), 0, nullptr, 0) == 0),
            "the answer is the system's");
    regfree(&posix);
}
