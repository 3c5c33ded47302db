#include <random>
#include <regex.h>

#include "Scan/FileInfo.h"
#include "Scan/PathMask.h"
#include "Scan/Selection.h"
#include "Scan/WalkTest.h"
#include "support/PlainFilter.h"

namespace {

/// Compares filters with a plain reading of their clauses on random cases: some thousand,
/// or as many as FILTER_CASES says, from FILTER_SEED on.
class FilterDifferentialTest : public WalkTest, public FileAction {
protected:
    FilterDifferentialTest() : FileAction("FilterDifferentialTest") {
        filesystem.fsMountPoint = "/a/";
        for (const char* const directory : {"a/b/c", "b/a.b", "ab"})
            tree.mkdirp(directory);
        for (const char* const directory : {"", "a/", "a/b/", "a/b/c/", "b/", "b/a.b/"}) {
            for (const char* const name : {"ca", "bb", "*", "].0"})
                tree.touch(std::string(directory) + name);
        }
    }

    static long setting(const char* name, long otherwise) {
        const char* const value = std::getenv(name);
        return value ? std::atol(value) : otherwise;
    }

    unsigned upTo(unsigned most) { return static_cast<unsigned>(generator() % (most + 1)); }

    template <class T, std::size_t n>
    T any(const T (&values)[n]) {
        return values[upTo(n - 1)];
    }

    char letter(std::string_view letters) {
        return letters[upTo(static_cast<unsigned>(letters.size() - 1))];
    }

    /// Of `most` components at most; no two that stand for any number of them in a row.
    std::string mask(unsigned most) {
        static constexpr const char* kAtoms[] = {
            "a",     "b",      "c",    "ab",    "*",     "*",     "?", "[ab]", "[!a]", "[a-c]",
            "[+-9]", "[!+-9]", "[]a]", "[.-0]", "[!/b]", "[b/a]", ".", "&*",   "&a",   "&."};
        std::string text = upTo(2) == 0 ? "/" : "";
        bool anyBefore = false;
        for (unsigned more = 1 + upTo(most - 1); more > 0; --more) {
            anyBefore = !anyBefore && upTo(3) == 0;
            if (anyBefore)
                text += '%';
            for (unsigned atoms = anyBefore ? 0 : 1 + upTo(2); atoms > 0; --atoms)
                text += any(kAtoms);
            text += more > 1 || upTo(4) == 0 ? "/" : "";
        }
        return text + '\0';
    }

    std::string number() {
        static constexpr std::uint32_t kNumbers[] = {0,    1,   2,   3,          7,
                                                     1000, ~0U, ~6U, 0x7fffffff, 0x80000000};
        const std::uint32_t value = any(kNumbers);
        return {static_cast<char>(value >> 24U), static_cast<char>(value >> 16U),
                static_cast<char>(value >> 8U), static_cast<char>(value)};
    }

    std::string equality(char kind) {
        return kind == 'P' || kind == 'T' ? number() : mask(kind == 'F' ? 4 : 1);
    }

    std::string operand(char kind) {
        static constexpr const char* kDigits[] = {"0", "1", "1ff", "200", "Ab", "100000002"};
        static constexpr const char* kNames[] = {"", "a", "ab", "b", "\xc3"};
        if (kind == 'U' || kind == 'G')
            return any(kNames) + std::string(1, '\0');
        if (kind == 's' || kind == 'S')
            return any(kDigits) + std::string(1, static_cast<char>(upTo(4)));
        return letter("@+") + number();
    }

    std::string clause(unsigned depth) {
        const char equal = letter("FFUGPT");
        const char compared = letter("AMCUGsS");
        switch (depth == 0 ? 3 + upTo(3) : upTo(6)) {
            case 0:
                return "&" + clause(depth - 1) + clause(depth - 1);
            case 1:
                return "|" + clause(depth - 1) + clause(depth - 1);
            case 2:
                return "!" + clause(depth - 1);
            case 3:
                return upTo(3) == 0 ? "&P" + number()
                                    : std::string("=") + equal + equality(equal);
            case 4:
                return std::string("[") + compared + operand(compared) + operand(compared);
            case 5: {
                std::string list = std::string("(") + equal + equality(equal);
                while (upTo(1) == 0)
                    list += "," + equality(equal);
                return list + ")";
            }
            default:
                return letter("<>") + std::string(upTo(1), '=') + compared + operand(compared);
        }
    }

    PlainEntry entryAt(const std::string& path) {
        static constexpr std::int64_t kFourG = std::int64_t{1} << 32U;
        static constexpr std::int64_t kNumbers[] = {
            0, 1, 2, 7, 1000, kFourG, kFourG + 7, 2 * kFourG, -kFourG - 1, -2, 0x7fffffff};
        static constexpr const char* kNames[] = {"a", "ab", "b", "ba", "\xc3\xa4"};
        PlainEntry entry;
        entry.root = filesystem.fsMountPoint;
        entry.path = path.substr(entry.root.size());
        entry.type = static_cast<std::int32_t>(upTo(7));
        entry.attributes = upTo(7);
        entry.size = any(kNumbers);
        entry.blocks = any(kNumbers);
        entry.accessed = any(kNumbers);
        entry.modified = any(kNumbers);
        entry.owner = any(kNames);
        entry.group = any(kNames);
        return entry;
    }

    /// Tries all filters on the entry, in place and at the level where it was met.
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
        for (const auto& [text, level, filter] : filters) {
            const std::optional<bool> expected =
                selectsPlainly(text, level, info.scanTime, entry);
            ASSERT_EQ(expected.has_value(), filter != nullptr) << testing::PrintToString(text);
            ASSERT_EQ(expected.value_or(false), selects(filter.get(), &info))
                << testing::PrintToString(text) << " from " << level << " on " << file->faName
                << " of " << entry.owner;
            --left;
            selected += expected.value_or(false) ? 1 : 0;
            refused += filter ? 0 : 1;
        }
    }
    void directoryEntered(FileAttributes* /*directory*/) override {}
    void directoryLeft() override {}

    /// Tries the filters that `make` makes, a batch for each walk.
    void compare(const std::function<std::string()>& make) {
        const long cases = left;
        Selection selection;
        DirectoryReaderFactory readers;
        while (left > 0 && !HasFatalFailure()) {
            filters.clear();
            for (int i = 0; i < 100; ++i) {
                const std::string text = make();
                const auto level = static_cast<std::int32_t>(upTo(3));
                selection.setFilter(text);
                static_cast<void>(selection.compile("random", level));
                filters.emplace_back(text, level, selection.takeRoot());
            }
            ScannerUnix scanner(&filesystem, {this}, {&all}, &users, &readers, tree.root(), 0);
            ASSERT_EQ(0, scanner.scan());
        }
        EXPECT_LT(cases / 20, selected);
        EXPECT_GT(cases / 2, selected + refused);
    }

    long left = setting("FILTER_CASES", 100'000);
    long selected = 0;
    long refused = 0;
    std::minstd_rand generator{static_cast<unsigned>(setting("FILTER_SEED", 1))};
    std::vector<std::tuple<std::string, std::int32_t, std::unique_ptr<SelectNode>>> filters;
    const TempTree tree;
};

}  // namespace

TEST_F(FilterDifferentialTest, MasksSelectWhatTheirLanguageSays) {
    compare([this] { return "=F" + mask(4); });
}

TEST_F(FilterDifferentialTest, ClausesSelectWhatTheirLanguageSays) {
    compare([this] {
        const std::string text = clause(3);
        return upTo(9) == 0 ? text.substr(0, upTo(static_cast<unsigned>(text.size()))) : text;
    });
}
