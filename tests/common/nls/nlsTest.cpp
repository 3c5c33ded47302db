#include <cstdlib>

#include <gtest/gtest.h>

#include "common/nls/MessageCache.h"
#include "common/nls/nls.h"
#include "common/thrd/GlobalRC.h"
#include "support/TempTree.h"

namespace {

using std::string_literals::operator""s;

/// Catalogs made for the test, and what goes to the error output.
class nlsTest : public testing::Test {
protected:
    nlsTest() {
        for (int severity = 0; severity < 9; ++severity)
            nlSetOutput(severity, [this](std::string_view text) { said += text; });
    }
    ~nlsTest() override {
        nlClose();
        nlSetLanguage("");
        for (int severity = 0; severity < 9; ++severity)
            nlSetOutput(severity, nullptr);
    }

    /// Compiles entries as gencat reads them.
    void catalog(const std::string& language, const std::string& entries) {
        tree.mkdirp(language);
        tree.write("source", "$quote \"\n$set 1\n" + entries);
        const std::string command =
            "gencat " + tree.path(language + "/cvnna.cat") + " " + tree.path("source");
        ASSERT_EQ(0, std::system(command.c_str()));
    }

    int setUp(const std::string& language) {
        nlClose();
        nlSetLanguage(language);
        settings.directory = tree.root();
        return nlSetUp(settings);
    }

    std::string text(int number, const NlsValues& values = {}) {
        return nlMessageText(number, values);
    }

    TempTree tree;
    NlsSettings settings{"cvnna.cat", "cvnna.cat", "", tree.path("log/errors"), 10, 9};
    std::string said;
};

TEST_F(nlsTest, ARecordPutsValuesWhereTheTranslatorWantsThem) {
    catalog("en_US", R"(
1 "ABC0001I \001%s has %d%% of %5.1f"
2 "ABC0002T \001a label %lu"
3 "ABC0003E \020\001\001\001\001\002\001\020\020\020%s\020\020\001%d\020first \020, then \020.\020"
4 "ABC0004W \020\001\001\001\001\001\020\002\001%*.*d\020<\020>\020"
5 "ABC12345S \001five digits\022tail"
6 "ABC0006K \001ends in the marker\022"
7 "ABC0007L \001%-4s|%4s|%.2s|"
8 "ABC0008R \001\022"
9 "ABC0009I \020\001\001\001\001\020no values"
)");
    ASSERT_EQ(0, setUp("en_US"));
    EXPECT_EQ("ABC0001I x has 7% of   2.5", text(1, {"x", 7, 2.5}));
    EXPECT_EQ("a label 18446744073709551615", text(2, {~0UL}));
    EXPECT_EQ("ABC0003E first b, then 1.", text(3, {1, "b"}));
    EXPECT_EQ("ABC0004W <    07>", text(4, {6, 2, 7}));
    EXPECT_EQ("ABC2345S five digits", text(5));
    EXPECT_EQ("ABC0006K ends in the marker", text(6));
    EXPECT_EQ("a   |   b|cd|", text(7, {"a", "b", "cde"}));
    EXPECT_EQ("", text(8));
    EXPECT_EQ("ABC0009I no values", text(9));
    EXPECT_EQ(4860U + 9U,
              text(3, {1, std::string(5000, 'x')}).size() - "first , then 1."s.size());
    EXPECT_EQ("", said);
}

// Entries that are made to harm are among the seeds of the fuzzer of catalogs.
TEST_F(nlsTest, AnEntryThatCannotBeReadIsReported) {
    catalog("en_US", R"(
1 "ABC0001I \001%s"
2 "ABC0002I \001%d %n"
3 "ABC0005Q \001unknown severity"
4 "ABC0008I \020\001\001\001\001\002\001"
5 "ABC0014M \001reserved"
6 "ABC0015I \001%99999999999s"
)");
    ASSERT_EQ(0, setUp("en_US"));
    for (int number = 1; number <= 4; ++number) {
        said.clear();
        EXPECT_EQ("", text(number, number == 1 ? NlsValues{} : NlsValues{7})) << number;
        EXPECT_NE(std::string::npos, said.find("is corrupted.\n")) << number << said;
        EXPECT_TRUE(said.starts_with("KLM9999E nls.cpp(")) << said;
    }
    said.clear();
    EXPECT_EQ("", text(5) + said);
    EXPECT_EQ(4860U + 9U, text(6, {"x"}).size());
    EXPECT_EQ("", text(99));
    EXPECT_NE(std::string::npos, said.find("Message No 99 could not be found.\n"));
    EXPECT_EQ(255, nlSeverity(99));
}

TEST_F(nlsTest, ALanguageHasAnotherNameOrIsEnglish) {
    EXPECT_EQ(610, setUp("de_DE"));
    EXPECT_EQ("KLM0101E Unable to open English message repository '" +
                  tree.path("en_US/cvnna.cat") + "'.\n",
              said);
    EXPECT_EQ(6, nlSeverity(1));
    EXPECT_EQ("", text(1));
    for (const char* language : {"en_US", "de_DE", "Zh_TW", "zh_CN", "x.y"})
        catalog(language, "1 \"ABC0001T \\001"s + language + "\"\n");
    const std::pair<const char*, const char*> kNames[] = {
        {"de_DE",       "de_DE"},
        {"de_DE.UTF-8", "de_DE"},
        {"de",          "de_DE"},
        {"zh",          "zh_CN"},
        {"zh_TW.BIG5",  "Zh_TW"},
        {"x.y",         "x.y"  },
        {"xx",          "en_US"},
        {"C.UTF-8",     "en_US"},
        {"POSIX",       "en_US"},
        {"",            "en_US"},
    };
    for (const auto& [language, opened] : kNames) {
        ASSERT_EQ(0, setUp(language));
        EXPECT_EQ(opened, text(1)) << language;
        EXPECT_EQ("en_US", nlEnglishMessageText(1, {})) << language;
        EXPECT_EQ(opened, text(1)) << language;
        EXPECT_EQ(0, nlSetUp({})) << "the second time";
    }
    EXPECT_EQ(0, setUp(std::string(1300, 'x')));
    settings.catalog = std::string(1280, 'c');
    EXPECT_EQ(610, setUp(""));
}

TEST_F(nlsTest, ACatalogOfAnotherProductIsNotTaken) {
    for (const char* language : {"en_US", "de_DE"})
        catalog(language, "1 \"ABC0001T \\001"s + language + "\"\n2 \"ABC0002I \\001two\"\n");
    catalog("other", "1 \"ABC0001T \\001other\"\n");
    setenv("NLSPATH", tree.path("other/%N").c_str(), 1);
    settings.probes = {1, 2};
    ASSERT_EQ(0, setUp("de"));
    EXPECT_EQ("de_DE", text(1)) << "although the other is of the name that was asked for";
    ASSERT_EQ(0, setUp("fr_FR"));
    EXPECT_EQ("en_US", text(1));
    catalog("other", "1 \"ABC0001T \\001ours\"\n2 \"ABC0002I \\001two\"\n");
    ASSERT_EQ(0, setUp("fr_FR"));
    EXPECT_EQ("ours", text(1));
    unsetenv("NLSPATH");
    EXPECT_EQ("", said);
}

TEST_F(nlsTest, AReportIsGradedPrintedAndKept) {
    catalog("en_US", "1 \"ABC0001W \\001careful %s\"\n2 \"ABC0002I \\001good\"\n");
    ASSERT_EQ(0, setUp("en_US"));
    nlReport(1, {"x"});
    nlReport(2, {});
    EXPECT_EQ("ABC0001W careful x\nABC0002I good\n", said);
    EXPECT_EQ(8, GlobalRC::getMax());
    ASSERT_TRUE(nlOpenErrorLog(4096));
    nlReport(1, {"y"});
    nlReport(2, {});
    const std::string log = tree.read("log/errors");
    EXPECT_NE(std::string::npos, log.find(" ABC0001W careful y\nEND OF DATA\n"));
    EXPECT_EQ(std::string::npos, log.find("good"));

    std::string place(64, '#');
    const NlsRecord record{2, NlsRecord::kAddLineEnd};
    EXPECT_EQ(0U, nlLogPrintf(record, place.data(), 14, {}));
    EXPECT_EQ(14U, nlLogPrintf(record, place.data(), 15, {}));
    EXPECT_EQ("ABC0002I good\n\0#"s, place.substr(0, 16));
}

TEST(MessageCacheTest, TheMessageUsedLeastRecentlyGoes) {
    MessageCache cache;
    const auto add = [&cache](int number) {
        auto message = std::make_unique<NLSMsg>();
        message->number = static_cast<std::uint16_t>(number);
        cache.add(std::move(message), 10);
    };
    for (int number = 1; number <= 10; ++number)
        add(number);
    ASSERT_TRUE(cache.find(1));
    add(11);
    EXPECT_FALSE(cache.find(2));
    for (int number : {1, 3, 10, 11})
        EXPECT_TRUE(cache.find(number)) << number;
    cache.flush();
    EXPECT_FALSE(cache.find(1));
}

}  // namespace
