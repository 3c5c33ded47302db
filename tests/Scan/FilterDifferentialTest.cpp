#include <random>

#include "Scan/FileInfo.h"
#include "Scan/Selection.h"
#include "Scan/WalkTest.h"
#include "support/PlainFilter.h"

using namespace std::string_view_literals;

namespace {

using Texts = std::vector<std::string_view>;

/// Clauses and masks: "$" and a letter stand for any text of that row. The last one holds
/// no further row, which ends the choice where it gets deep.
const std::map<char, Texts> kGrammar = {
    {'E', {"&$E$E",  "|$E$E",      "!$E",        "=F$M",   "=U$m",   "(F$M$F",      "(U$m$U",
           "(T$N$T", "=P$N",       "=T$N",       "[A$t$t", "[M$t$t", "[C$t$t",      "[U$n$n",
           "[G$n$n", "[s$d$s$d$s", "[S$d$s$d$s", "$cA$t",  "$cM$t",  "$cC$t",       "$cU$n",
           "$cG$n",  "$cs$d$s",    "$cS$d$s",    "=G$m",   "&P$N",   "=T\0\0\0\1"sv}},
    {'F', {",$M$F", ")"}                                                                     },
    {'U', {",$m$U", ")"}                                                                     },
    {'T', {",$N$T", ")"}                                                                     },
    {'M', {"$L$C$R\0"sv, "$L$C\0"sv}                                                         },
    {'L', {"", "/", "%/", "/%/", ""}                                                         },
    {'C', {"$C/$C", "$C/%/$A", "$A$A$A", "$A$A", "a"}                                        },
    {'R', {"/%/", "/%", "/"}                                                                 },
    {'m', {"$A$A\0"sv, "$A\0"sv, "/a\0"sv, "%\0"sv}                                          },
    {'A',
     {"a",      "b",    "c",     "ab",    "*",     "*", "?",  "[ab]", "[!a]", "[a-c]", "[+-9]",
      "[!+-9]", "[]a]", "[.-0]", "[!/b]", "[b/a]", ".", "&*", "&a",   "&.",   "&&"}          },
    {'N',
     {"\0\0\0\0"sv, "\0\0\0\1"sv, "\0\0\0\3"sv, "\0\0\3\xe8"sv, "\xff\xff\xff\xfa",
      "\x7f\xff\xff\xff", "\x80\0\0\0"sv}                                                    },
    {'t', {"@$N", "+$N", "@\0\0\0\2"sv}                                                      },
    {'n', {"a\0"sv, "ab\0"sv, "b\0"sv, "\xc3\0"sv, "\0"sv}                                   },
    {'d', {"1", "1ff", "200", "Ab", "100000002", "0"}                                        },
    {'s', {"\0"sv, "\1", "\2", "\3", "\4"}                                                   },
    {'c', {"<", "<=", ">", ">="}                                                             },
};

/// Compares filters with a plain reading of their clauses on random cases: some thousand,
/// or as many as FILTER_CASES says, from FILTER_SEED on.
class FilterDifferentialTest : public WalkTest, public FileAction {
protected:
    FilterDifferentialTest() : FileAction("FilterDifferentialTest") {
        filesystem.fsMountPoint = "/a/";
        for (const char* const directory : {"a/b/c", "b/a.b", "ab"})
            tree.mkdirp(directory);
        for (const char* const directory : {"", "a/", "a/b/", "a/b/c/", "b/", "b/a.b/"}) {
            for (const char* const name : {"ca", "bb", "*", "].0", "a&"})
                tree.touch(std::string(directory) + name);
        }
    }

    static long setting(const char* name, long otherwise) {
        const char* const value = std::getenv(name);
        return value ? std::atol(value) : otherwise;
    }

    template <class T>
    auto any(const T& values) {
        return std::data(values)[generator() % std::size(values)];
    }

    std::string expanded(std::string_view text, int depth) {
        std::string result;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] != '$') {
                result += text[i];
                continue;
            }
            const Texts& choice = kGrammar.at(text[++i]);
            result += expanded(depth > 0 ? any(choice) : choice.back(), depth - 1);
        }
        return result;
    }

    PlainEntry entryAt(const std::string& path) {
        static constexpr std::int64_t kNumbers[] = {
            0, 1, 2, 7, 1000, -2, 5L << 32, (1L << 32) + 7, -5L << 32};
        static constexpr const char* kNames[] = {"a", "ab", "b", "ba", "\xc3\xa4"};
        PlainEntry entry;
        entry.root = filesystem.fsMountPoint;
        entry.path = path.substr(entry.root.size());
        entry.type = static_cast<std::int32_t>(generator() % 5);
        entry.attributes = static_cast<std::uint32_t>(generator() % 5);
        for (auto number : {&PlainEntry::size, &PlainEntry::blocks, &PlainEntry::accessed,
                            &PlainEntry::modified})
            entry.*number = any(kNumbers);
        entry.owner = any(kNames);
        entry.group = any(kNames);
        return entry;
    }

    /// Tries all filters on the entry, at the level where the walk met it.
    void actUpon(Scanner* scanner, FileAttributes* file) override {
        const PlainEntry entry = entryAt(file->faName);
        FileInfo info;
        info.scanner = scanner;
        info.name = file->faName.c_str();
        info.nameLength = file->faName.size();
        info.faType = entry.type;
        info.attributes = entry.attributes;
        info.stat.size = entry.size;
        info.stat.blocks = entry.blocks;
        info.stat.accessed = entry.accessed;
        info.stat.modified = entry.modified;
        info.ownerName = entry.owner;
        info.groupName = entry.group;
        info.scanTime = 5;
        for (const auto& [clause, level, filter] : filters) {
            const std::optional<bool> expected = selectsPlainly(clause, level, 5, entry);
            ASSERT_EQ(expected.has_value(), filter != nullptr)
                << testing::PrintToString(clause);
            ASSERT_EQ(expected.value_or(false), selects(filter.get(), &info))
                << testing::PrintToString(clause) << level << file->faName << entry.owner;
            --left;
            selected += expected.value_or(false) ? 1 : 0;
        }
    }
    void directoryEntered(FileAttributes* /*directory*/) override {}
    void directoryLeft() override {}

    /// Tries filters of this kind, a hundred for each walk; one in ten is cut.
    void compare(const char* kind) {
        const long cases = left;
        Selection selection;
        DirectoryReaderFactory readers;
        while (left > 0 && !HasFatalFailure()) {
            filters.clear();
            while (filters.size() < 100) {
                std::string clause = expanded(kind, 8);
                if (generator() % 10 == 0)
                    clause.resize(generator() % clause.size());
                const auto level = static_cast<std::int32_t>(generator() % 4);
                selection.setFilter(clause);
                static_cast<void>(selection.compile("random", level));
                filters.emplace_back(clause, level, selection.takeRoot());
            }
            ScannerUnix scanner(&filesystem, {this}, {&all}, &users, &readers, tree.root(), 0);
            ASSERT_EQ(0, scanner.scan());
        }
        EXPECT_LT(cases / 40, selected);
        EXPECT_GT(cases / 2, selected);
    }

    long left = setting("FILTER_CASES", 100'000);
    long selected = 0;
    std::minstd_rand generator{static_cast<unsigned>(setting("FILTER_SEED", 1))};
    std::vector<std::tuple<std::string, std::int32_t, std::unique_ptr<SelectNode>>> filters;
    const TempTree tree;
};

}  // namespace

TEST_F(FilterDifferentialTest, MasksSelectWhatTheirLanguageSays) {
    compare("=F$M");
}

TEST_F(FilterDifferentialTest, ClausesSelectWhatTheirLanguageSays) {
    compare("$E");
}
