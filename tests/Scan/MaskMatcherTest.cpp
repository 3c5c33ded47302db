#include <random>
#include <regex.h>

#include <gtest/gtest.h>

#include "Scan/MaskMatcher.h"
#include "Scan/PathMask.h"

TEST(MaskMatcherTest, GivesTheAnswersOfTheSystem) {
    static constexpr const char* kMaskTokens[] = {
        "a", "b",      "a",   "/",    "/",     "%/",         "/%/",      "*",
        "?", ".",      "&*",  "[",    "]",     "[ab]",       "[!a]",     "-",
        "!", "^",      "&]",  "[^a]", "[+-9]", "\xc3",       "&.",       "&a",
        "%", "[&]a*]", "&[[", "[!&]", "[a-b",  "[[:alpha:]", "[.-\xff]", "&&"};
    static constexpr const char* kTextTokens[] = {
        "a", "b", "/", ".", "*", "a", "/", "ab", "]", "[", "\\", "\xc3", "-", "\n9", "%", "a/"};
    std::minstd_rand generator(7);
    const auto random = [&generator](const auto& tokens, unsigned most) {
        std::string text;
        for (auto left = generator() % (most + 1); left > 0; --left)
            text += tokens[generator() % std::size(tokens)];
        return text;
    };
    int matched = 0;
    for (int i = 0; i < 4000; ++i) {
        std::int32_t form = 0;
        const std::string expression = maskToRegex(random(kMaskTokens, 7), form);
        std::string refusal;
        const auto matcher = MaskMatcher::compile(expression, refusal);
        regex_t posix;
        const bool valid = regcomp(&posix, expression.c_str(), REG_NOSUB) == 0;
        ASSERT_TRUE(matcher ? valid : !valid || refusal == "Operator that no mask has");
        for (int j = 0; matcher && !expression.empty() && j < 60; ++j) {
            const std::string text = random(kTextTokens, 8);
            const bool expected = regexec(&posix, text.c_str(), 0, nullptr, 0) == 0;
            ASSERT_EQ(expected, matcher->matches(text)) << expression << " on " << text;
            matched += expected ? 1 : 0;
        }
        if (valid)
            regfree(&posix);
    }
    EXPECT_LT(1000, matched);
}
