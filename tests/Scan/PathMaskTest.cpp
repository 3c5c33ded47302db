#include <gtest/gtest.h>

#include "Scan/MaskMatcher.h"
#include "Scan/PathMask.h"

namespace {

struct Case {
    const char* mask;
    const char* expression;
    int form;
    bool compiles;
};

// What masks match is compared with a plain reading in FilterDifferentialTest.
// Meant: sets stay as they come out, even where the system refuses them.
constexpr Case kCases[] = {
    {"/",           R"(^$)",                          0, true },
    {"/a/%/b",      R"(^/a/\([^/]*/\)*b$)",           0, true },
    {"%/a/%/b",     R"(^\([^/]*/\)*a/\([^/]*/\)*b$)", 1, true },
    {"a/%/%/",      R"(^a/\([^/]*/\)\(/[^/]*\)*$)",   1, true },
    {"&a&+&&&%/x",  R"(^a+&%/x$)",                    1, true },
    {"R&&D&&",      R"(^R&D&$)",                      1, true },
    {R"(\tmp)",     R"(^/tmp$)",                      0, true },
    {"%/",          "",                               0, true },
    {"/%/",         "",                               0, true },
    {"/x/[+-9]",    R"(^/x/[+-.0-9]$)",               0, true },
    {"/x/[--0]",    R"(^/x/[--.0]$)",                 0, true },
    {"/x/[^a]",     R"(^/x/[^a]$)",                   0, true },
    {"/x/[a&]b]",   R"(^/x/[a\]b]$)",                 0, true },
    {"/x/[abc",     R"(^/x/[ab$)",                    0, false},
    {"/x/[",        R"(^/x/[$)",                      0, false},
    {"[&/",         R"(^[$)",                         1, false},
    {"/x/[&&]",     R"(^/x/[\\]$)",                   0, true },
    {"/x/[!a-]",    R"(^/x/[^a-/]$)",                 0, false},
    {"/x/[&]&(a]",  R"(^/x/[\]\(a]$)",                0, false},
    {"/x/[[:no:]]", R"(^/x/[[:no:]]$)",               0, false},
};

}  // namespace

TEST(PathMaskTest, MasksBecomeExpressions) {
    for (const Case& example : kCases) {
        std::int32_t form = 99;
        const std::string expression = maskToRegex(example.mask, form);
        EXPECT_EQ(example.expression, expression) << example.mask;
        EXPECT_EQ(example.form, form) << example.mask;
        std::string refusal;
        EXPECT_EQ(example.compiles, MaskMatcher::compile(expression, refusal) != nullptr)
            << example.mask;
        EXPECT_EQ(example.compiles, refusal.empty()) << example.mask;
    }
}
