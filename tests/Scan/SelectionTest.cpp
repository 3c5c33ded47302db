#include <gtest/gtest.h>

#include "Scan/ClauseParser.h"
#include "Scan/FileInfo.h"
#include "Scan/Selection.h"

// What clauses select is compared with a plain reading in FilterDifferentialTest.

namespace {

const std::string kZero(1, '\0');
const std::string kOne("\0\0\0\1", 4);  // a number as clauses hold it

/// The codes of the errors of a clause, joined with blanks; "" if it compiles.
std::string codes(const std::string& clause) {
    Selection selection;
    selection.setFilter(clause);
    const bool compiled = selection.compile("test", 0);
    EXPECT_EQ(compiled, selection.takeRoot() != nullptr);
    std::string text;
    for (std::size_t i = 2; i < selection.getErrors().size(); i += 3)
        text += (text.empty() ? "" : " ") + std::to_string(selection.getErrors()[i]);
    return text;
}

bool selectsPath(const std::string& clause, const std::string& path) {
    Selection selection;
    selection.setFilter(clause);
    EXPECT_TRUE(selection.compile("test", 0));
    FileInfo entry;
    entry.name = path.c_str();
    entry.nameLength = path.size();
    entry.faType = 1;
    return selects(selection.takeRoot().get(), &entry);
}

}  // namespace

TEST(SelectionTest, ErrorsAreToldFromTheInsideOut) {
    const std::pair<std::string, const char*> kCases[] = {
        {"=T" + kOne + "ignored",               ""        },
        {"  ",                                  "65"      },
        {"&=T" + kOne,                          "64 2"    },
        {"|!x",                                 "65 5 3"  },
        {"=x",                                  "67 16"   },
        {"<Mx1234",                             "68 12"   },
        {"=U/abc" + kZero,                      "72 8"    },
        {"(T" + kOne + ",12",                   "69 11 14"},
        {"(FC:\\a" + kZero + "," + "\\b" + ")", "70 10 14"},
    };
    for (const auto& [clause, expected] : kCases)
        EXPECT_EQ(expected, codes(clause)) << testing::PrintToString(clause);

    // Before the record of a mask: the reason, and its length in two bytes.
    Selection selection;
    selection.setFilter("=U[a" + kZero);
    EXPECT_FALSE(selection.compile("test", 0));
    const std::string& errors = selection.getErrors();
    EXPECT_EQ(": [a", errors.substr(errors.size() - 12, 4));
    EXPECT_EQ(static_cast<int>(errors.size() - 8), errors[errors.size() - 8]);
}

TEST(SelectionTest, ListsLoseTheMasksOfOtherSystems) {
    const std::string list = "(FC:\\a" + kZero + ",/b" + kZero + ",\\a" + kZero + ")";
    const std::string both = "|" + list + "(F\\c" + kZero + ",/d" + kZero + ")";
    for (const char* const path : {"/a", "/b", "/c", "/d"})
        EXPECT_EQ(path[1] == 'b' || path[1] == 'd', selectsPath(both, path)) << path;
    EXPECT_EQ("", codes("(F%/\\a" + kZero + ")"));
}

TEST(SelectionTest, ClausesNestToALimitAndListsDoNot) {
    const auto nots = [](int count) {
        return std::string(static_cast<std::size_t>(count), '!') + "=T" + kOne;
    };
    EXPECT_EQ("", codes(nots(ClauseParser::kMaxNesting - 1)));
    EXPECT_TRUE(codes(nots(1'000'000)).starts_with("76 5 5"));
    std::string list = "(T" + kOne;
    for (int i = 0; i < 300'000; ++i)
        list += ",long";
    EXPECT_TRUE(selectsPath(list + ")", ""));
    EXPECT_EQ("75 14", codes(list));
}
