#include <gtest/gtest.h>

#include "Scan/ClauseParser.h"
#include "Scan/FileInfo.h"
#include "Scan/Selection.h"
#include "Scan/WalkTest.h"

namespace {

constexpr std::int32_t kNow = 1'000'000;
constexpr std::int64_t kFourG = std::int64_t{1} << 32U;

/// A number as clauses hold it.
std::string be(std::uint32_t number) {
    std::string bytes;
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        bytes += static_cast<char>((number >> shift) & 0xFFU);
    return bytes;
}

/// A text with the zero byte that ends masks and names.
std::string z(const std::string& text) {
    return text + '\0';
}

/// A clause with the scale bytes of sizes written as "#0" to "#5".
std::string scaled(std::string clause) {
    for (std::size_t hash = 0; (hash = clause.find('#', hash)) != std::string::npos;)
        clause.replace(hash, 2, 1, static_cast<char>(clause[hash + 1] - '0'));
    return clause;
}

std::unique_ptr<SelectNode> compiled(const std::string& clause, std::int32_t level = 0) {
    Selection selection;
    selection.setFilter(clause);
    EXPECT_TRUE(selection.compile("test", level)) << testing::PrintToString(clause);
    return selection.takeRoot();
}

/// "1" or "0" for each of the entries.
std::string answers(const std::string& clause, const std::vector<FileInfo>& entries) {
    const std::unique_ptr<SelectNode> filter = compiled(clause);
    std::string text;
    for (const FileInfo& entry : entries)
        text += selects(filter.get(), &entry) ? '1' : '0';
    return text;
}

/// The codes of the errors of a clause, joined with blanks.
std::string codes(const std::string& clause) {
    Selection selection;
    selection.setFilter(clause);
    EXPECT_FALSE(selection.compile("test", 0)) << testing::PrintToString(clause);
    EXPECT_EQ(nullptr, selection.takeRoot());
    const std::string& errors = selection.getErrors();
    std::size_t start = 0;
    const std::size_t refusal = errors.find(": ");  // stands before the record of a mask
    if (refusal != std::string::npos) {
        start = errors.find("\x42", refusal) - 2;
        const auto length = static_cast<unsigned char>(errors[start - 2]);
        EXPECT_EQ(start - 2, length) << errors;
    }
    std::string text;
    for (std::size_t i = start; i < errors.size(); i += 3)
        text += (text.empty() ? "" : " ") + std::to_string(errors[i + 2]);
    return text;
}

template <auto field, class... Values>
std::vector<FileInfo> entriesWith(Values... values) {
    std::vector<FileInfo> entries;
    for (const std::int64_t value : {std::int64_t{values}...}) {
        FileInfo& entry = entries.emplace_back();
        entry.stat.*field = value;
        entry.scanTime = kNow;
    }
    return entries;
}

template <auto field>
std::vector<FileInfo> sized() {
    return entriesWith<field>(0, kFourG - 1, kFourG, 2 * kFourG, -1);
}

using Answers = std::vector<std::pair<std::string, const char*>>;

void expectAnswers(const Answers& cases, const std::vector<FileInfo>& entries) {
    for (const auto& [clause, expected] : cases)
        EXPECT_EQ(expected, answers(clause, entries)) << testing::PrintToString(clause);
}

}  // namespace

TEST(SelectionTest, TimesAreComparedIn32BitsFromTheEpochOrFromTheWalk) {
    const std::string limit = be(1000);
    const std::string wrapped = be(0x7fffffff);  // plus the time of the walk: long ago
    // Meant: a time beyond 2038 counts as one long ago, the lower bound of a range counts
    // from the walk though it says the epoch, and no operator finds a time of creation.
    const auto entries = entriesWith<&EntryStat::modified>(-5, 999, 1000, 1001, kFourG + 999);
    const Answers kTimes = {
        {"<M@" + limit,                            "11001"},
        {"<=M@" + limit,                           "11101"},
        {">=M@" + limit,                           "00110"},
        {">M@" + limit,                            "00010"},
        {"<M+" + be(1000 - kNow),                  "11001"},
        {">=M+" + wrapped,                         "11111"},
        {"[M@" + be(1000 - kNow) + "@" + be(1001), "00100"},
        {"[M@" + be(0x7ffffff0) + "@" + limit,     "11001"},
        {"[M+" + be(1000 - kNow) + "+" + be(2),    "00110"},
        {"<C@" + be(0x7fffffff),                   "00000"},
        {">=C@" + be(0),                           "00000"},
    };
    expectAnswers(kTimes, entries);
    EXPECT_EQ("01", answers(">=A@" + be(7), entriesWith<&EntryStat::accessed>(6, 7)));
}

// Meant: all that is smaller than 4 G compares as 0.
TEST(SelectionTest, SizesAreComparedInTheirHighHalf) {
    // A limit loses what does not fit into 32 bits, and 32 bits have a sign.
    const Answers kLengths = {
        {scaled("<s1#0"),         "11001"},
        {scaled(">=sFFFFF#0"),    "00000"},
        {scaled(">=s0#3"),        "11110"},
        {scaled(">s0#0"),         "00110"},
        {scaled("<=s1#0"),        "11101"},
        {scaled("[s1#02#0"),      "00100"},
        {scaled("<s40#4"),        "00001"},
        {scaled("<s100000001#0"), "11001"},
        {scaled("<s80000000#0"),  "00000"},
    };
    expectAnswers(kLengths, sized<&EntryStat::size>());
    // Less than a block counts as one, or as none with the equal sign.
    const Answers kBlocks = {
        {scaled("<S1ff#0"),  "11001"},
        {scaled("<=S1ff#0"), "11001"},
        {scaled("<=S3Ff#0"), "11101"},
        {scaled("<S200#0"),  "11001"},
        {scaled("<S1#1"),    "11101"},
        {scaled("<S2#4"),    "00001"},
    };
    expectAnswers(kBlocks, sized<&EntryStat::blocks>());
}

TEST(SelectionTest, NamesAreComparedByByteAndOwnersByMask) {
    std::vector<FileInfo> entries(4);
    entries[0].ownerName = entries[0].groupName = "adm";
    entries[1].ownerName = entries[1].groupName = "bin";
    entries[2].ownerName = entries[2].groupName = "bin2";
    entries[3].ownerName = entries[3].groupName = "\xc3\xa4";
    // Meant: a mask of group names selects nothing, and its negation all.
    const Answers kNames = {
        {"<U" + z("bin"),                      "1000"},
        {"<=U" + z("bin"),                     "1100"},
        {">G" + z("bin"),                      "0011"},
        {">=U" + z(""),                        "1111"},
        {"[G" + z("b") + z("bz"),              "0110"},
        {"=U" + z("b*"),                       "0110"},
        {"=U" + z("?[!a]?"),                   "1100"},
        {"(U" + z("adm") + "," + z("%") + ")", "1111"},
        {"=G" + z("bin"),                      "0000"},
        {"!=G" + z("bin"),                     "1111"},
        {"=G" + z(""),                         "1111"},
    };
    expectAnswers(kNames, entries);
}

TEST(SelectionTest, TypesAndPermissionsCombine) {
    std::vector<FileInfo> entries(4);
    for (std::int32_t i = 0; i < 4; ++i) {
        entries[static_cast<std::size_t>(i)].faType = i;
        entries[static_cast<std::size_t>(i)].attributes = static_cast<std::uint32_t>(i);
    }
    const std::string one = "=T" + be(1);
    const std::string two = "=T" + be(2);
    const Answers kCombined = {
        {"",                                             "1111"},
        {" ",                                            "1111"},
        {one + "behind",                                 "0100"},
        {"&P" + be(3),                                   "0111"},
        {"=P" + be(3),                                   "0001"},
        {"=P" + be(0),                                   "1111"},
        {"&" + one + two,                                "0000"},
        {"|" + one + two,                                "0110"},
        {"!|" + one + "!" + two,                         "0010"},
        {"&|" + one + two + "&P" + be(1),                "0100"},
        {"(T" + be(1) + ")",                             "0100"},
        {"(T" + be(3) + "," + be(1) + "," + be(0) + ")", "1101"},
    };
    expectAnswers(kCombined, entries);
    EXPECT_EQ(SelectNode::LEAF, compiled("(T" + be(1) + ")")->kind());  // no chain for one
}

TEST(SelectionTest, ErrorsAreToldFromTheInsideOut) {
    const std::pair<std::string, const char*> kCases[] = {
        {"  ",                                     "65"      },
        {"&",                                      "64 1"    },
        {"&=T" + be(1),                            "64 2"    },
        {"|!x",                                    "65 5 3"  },
        {"|=T" + be(1) + "<",                      "74 17 4" },
        {"&Pabc",                                  "69 7"    },
        {"=P",                                     "69 6"    },
        {"=Tabc",                                  "69 11"   },
        {"=",                                      "74 16"   },
        {"=x",                                     "67 16"   },
        {"<=x",                                    "67 17"   },
        {"<Mx1234",                                "68 12"   },
        {">=A+123",                                "69 12"   },
        {"<Uabc",                                  "70 9"    },
        {scaled("<s#1"),                           "73 13"   },
        {scaled("<S12#5"),                         "73 13"   },
        {"<S12",                                   "73 13"   },
        {"=Uabc",                                  "70 8"    },
        {"=U" + z("/abc"),                         "72 8"    },
        {"=G" + z("%/abc"),                        "72 8"    },
        {"=U" + z("[a"),                           "66 8"    },
        {"=F" + z("/[b-a]"),                       "66 10"   },
        {"=F/abc",                                 "70 10"   },
        {"[",                                      "74 15"   },
        {"[M@" + be(1) + "x",                      "68 12 15"},
        {"(",                                      "74 14"   },
        {"(T" + be(1),                             "75 14"   },
        {"(T" + be(1) + ",12",                     "69 11 14"},
        {"(F" + z("C:\\a") + "," + z("\\b") + ")", "70 10 14"},
    };
    for (const auto& [clause, expected] : kCases)
        EXPECT_EQ(expected, codes(clause)) << testing::PrintToString(clause);
    Selection selection;
    selection.setFilter("&=T" + be(1) + "x");
    EXPECT_FALSE(selection.compile("test", 0));
    EXPECT_EQ(std::string("\7\0\x41\7\0\2", 6), selection.getErrors());
}

TEST(SelectionTest, LongAndDeepClausesAreBoundedAndListsAreNot) {
    const auto nots = [](int count) {
        return std::string(static_cast<std::size_t>(count), '!') + "=T" + be(1);
    };
    compiled(nots(ClauseParser::kMaxNesting - 1));
    EXPECT_TRUE(codes(nots(ClauseParser::kMaxNesting)).starts_with("76 5 5"));
    EXPECT_TRUE(codes(nots(1'000'000)).starts_with("76 5 5"));

    FileInfo entry;
    entry.faType = 1;
    std::string list = "(T" + be(1);
    for (int i = 0; i < 300'000; ++i)
        list += "," + be(2);
    EXPECT_EQ("1", answers(list + ")", {entry}));
    EXPECT_EQ("75 14", codes(list));
}

namespace {

/// Walks "/", with the directories /a, /a/b and /a/b/c, and a file "f.x" in each.
class SelectionWalkTest : public WalkTest {
protected:
    SelectionWalkTest() {
        tree.mkdirp("a/b/c");
        for (const char* const name : {"f.x", "a/f.x", "a/b/f.x", "a/b/c/f.x"})
            tree.touch(name);
    }

    /// The paths that the clause selects.
    std::string selected(const std::string& clause, std::int32_t level = 0) {
        const std::unique_ptr<SelectNode> filter = compiled(clause, level);
        DirectoryReaderFactory readers;
        action.seen.clear();
        ScannerUnix scanner(&filesystem, {&action}, {filter.get()}, &users, &readers,
                            tree.root(), 0);
        EXPECT_EQ(0, scanner.scan());
        return action.paths();
    }

    const TempTree tree;
};

}  // namespace

TEST_F(SelectionWalkTest, AMaskAppliesToThePathFromALevelOrFromTheEnd) {
    const std::tuple<const char*, int, const char*> kCases[] = {
        {"",          0, "/ /a /a/b /a/b/c /a/b/c/f.x /a/b/f.x /a/f.x /f.x"},
        {"/",         0, "/"                                               },
        {"/*",        0, "/ /a /f.x"                                       },
        {"/*?",       0, "/a /f.x"                                         },
        {"/a/%/",     0, "/a /a/b /a/b/c /a/b/c/f.x /a/b/f.x /a/f.x"       },
        {"/a/*",      2, "/a/b /a/f.x"                                     },
        {"/%/b/%/f*", 0, "/a/b/c/f.x /a/b/f.x"                             },
        {"f.x",       0, "/f.x"                                            },
        {"f.x",       1, "/a/f.x"                                          },
        {"b/f.x",     1, "/a/b/f.x"                                        },
        {"*",         3, "/a/b/c/f.x"                                      },
        {"c/*",       2, "/a/b/c/f.x"                                      },
        {"%/f.x",     0, "/a/b/c/f.x /a/b/f.x /a/f.x /f.x"                 },
        {"%/f.x",     2, "/a/b/c/f.x /a/b/f.x"                             },
        {"%/b/f.x",   0, "/a/b/f.x"                                        },
        {"%/b/f.x",   1, "/a/b/f.x"                                        },
        {"%/b/f.x",   2, ""                                                },
        {"%/a/*",     0, "/a/b /a/f.x"                                     },
        {"%/a/b/c/*", 0, "/a/b/c/f.x"                                      },
        {"%/x/a/b/*", 0, ""                                                },
        {"a/%/",      0, "/a /a/b /a/b/c /a/b/c/f.x /a/b/f.x /a/f.x"       },
        {"%/b/%/",    0, "/a/b /a/b/c /a/b/c/f.x /a/b/f.x"                 },
    };
    for (const auto& [mask, level, expected] : kCases)
        EXPECT_EQ(expected, selected("=F" + z(mask), level)) << mask << " at " << level;
}

TEST_F(SelectionWalkTest, ListsLoseTheMasksOfOtherSystems) {
    const std::string foreign = z("C:\\f.x");
    EXPECT_EQ("/a /a/b /a/b/f.x",
              selected("|(F" + z("/a") + "," + foreign + "," + z("%/b\\f.x") + ")(F" + foreign +
                       "," + z("/a/b") + ")"));
}
