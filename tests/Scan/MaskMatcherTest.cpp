#include <random>
#include <regex.h>

#include <gtest/gtest.h>

#include "Scan/MaskMatcher.h"
#include "Scan/PathMask.h"

namespace {

/// Masks and paths of few different bytes, so that many match and many nearly do.
class MaskMatcherTest : public testing::Test {
protected:
    template <std::size_t n>
    std::string random(const char* const (&tokens)[n], unsigned most) {
        std::string text;
        for (unsigned left = static_cast<unsigned>(generator()) % (most + 1); left > 0; --left)
            text += tokens[generator() % n];
        return text;
    }

    std::minstd_rand generator{20240607};
};

}  // namespace

TEST_F(MaskMatcherTest, GivesTheAnswersOfTheSystem) {
    static constexpr const char* kMaskTokens[] = {
        "a", "b",      "a",   "/",    "/",     "%/",         "/%/",      "*",
        "?", ".",      "&*",  "[",    "]",     "[ab]",       "[!a]",     "-",
        "!", "^",      "&]",  "[^a]", "[+-9]", "\xc3",       "&.",       "&a",
        "%", "[&]a*]", "&[[", "[!&]", "[a-b",  "[[:alpha:]", "[.-\xff]", "&&"};
    static constexpr const char* kTextTokens[] = {
        "a", "b", "/", ".", "*", "a", "/", "ab", "]", "[", "\\", "\xc3", "-", "\n9", "%", "a/"};
    int refused = 0;
    int matched = 0;
    for (int i = 0; i < 4000; ++i) {
        const std::string mask = random(kMaskTokens, 7);
        std::int32_t form = 0;
        const std::string expression = maskToRegex(mask, form);
        if (expression.empty())
            continue;
        std::string refusal;
        const auto matcher = MaskMatcher::compile(expression, refusal);
        regex_t posix;
        const bool valid = regcomp(&posix, expression.c_str(), REG_NOSUB) == 0;
        ASSERT_TRUE(valid || !matcher) << mask;
        ASSERT_TRUE(matcher || !valid || refusal == "Operator that no mask has") << mask;
        refused += matcher ? 0 : 1;
        for (int j = 0; matcher && j < 60; ++j) {
            const std::string text = random(kTextTokens, 8);
            const bool expected = regexec(&posix, text.c_str(), 0, nullptr, 0) == 0;
            ASSERT_EQ(expected, matcher->matches(text)) << expression << " on " << text;
            matched += expected ? 1 : 0;
        }
        if (valid)
            regfree(&posix);
    }
    EXPECT_LT(100, refused);
    EXPECT_LT(1000, matched);
}

TEST_F(MaskMatcherTest, ManyPiecesAndLongTextsTakeNoExponentialTime) {
    std::string mask = "/%";
    for (int i = 0; i < 200; ++i)
        mask += "/*a*%/%";
    std::int32_t form = 0;
    std::string refusal;
    const auto matcher = MaskMatcher::compile(maskToRegex(mask + "/*b", form), refusal);
    ASSERT_TRUE(matcher);
    std::string path;
    for (int i = 0; i < 400; ++i)
        path += "/aaaaaaaa%";
    EXPECT_FALSE(matcher->matches(path));
    EXPECT_TRUE(matcher->matches(path + "/ab"));
}
