#include <cstdlib>

#include <gtest/gtest.h>

#include "common/nls/nls.h"
#include "support/TempTree.h"

namespace {

/// Runs the generator over sources of the test.
class makeCatalogTest : public testing::Test {
protected:
    int run(const std::string& arguments) const {
        const std::string command = SCAN_MAKE_CATALOG " " + arguments + " >" +
                                    tree.path("made") + " 2>" + tree.path("said");
        return WEXITSTATUS(std::system(command.c_str()));
    }

    const TempTree tree;
};

TEST_F(makeCatalogTest, ABadEntryFailsTheBuild) {
    const std::string good = "5 ABC0005I (a, b:lu) {a} is {b}\n";
    const std::string longText = "6 ABC0006I (a) {a}" + std::string(201, 'x') + "\n";
    for (const std::string bad :
         {"ABC0006I () no number\n", "6 ABC0006I no values\n", "5 ABC0006I () again\n",
          "40000 ABC0006I () x\n", "6 ABC0005I () again\n", "6 ABC0006Q () severity\n",
          "6 ABC006I () x\n", "6 ABC0006I (a) x\n", "6 ABC0006I () {a}\n",
          "6 ABC0006I (a) {a} {a}\n", "6 ABC0006I (a:q) {a}\n", "6 ABC0006I (a, a) {a}{a}\n",
          "6 ABC0006I (a, b, c, d) {a}{b}{c}{d}\n", "6 ABC0006I () ends\\n\n",
          "6 ABC0006I () a \\x escape\n", "6 ABC0006I () a { brace\n",
          "6 ABC0006I () tab\there\n", longText.c_str()}) {
        tree.write("source", good + bad);
        EXPECT_EQ(1, run(tree.path("source"))) << bad;
        EXPECT_EQ("", tree.read("made"));
        EXPECT_NE(std::string::npos, tree.read("said").find("source:2: ")) << bad;
    }
    tree.write("source", "6 ABC0006I () \xff\n");
    EXPECT_EQ(1, run(tree.path("source")));
    tree.write("english", good);
    for (const char* other :
         {"5 ABC0005I (b:lu, a) {a} {b}\n", "5 ABC0005W (a, b:lu) {a} {b}\n",
          "6 ABC0005I (a, b:lu) {a} {b}\n", "# nothing\n"}) {
        tree.write("source", other);
        EXPECT_EQ(1, run(tree.path("source") + " " + tree.path("english"))) << other;
    }
}

TEST_F(makeCatalogTest, WhatATranslatorWritesIsWhatTheOperatorReads) {
    tree.write("english",
               "5 ABC0005I (a, b:lu) 5% of \\{{a}\\} \"\\\\\" are {b}\n"
               "6 ABC0006T () 7 lines\\n8 lines\n");
    tree.write("german", "5 ABC0005I (a, b:lu) {b} ü%s {a}, 5%\n6 ABC0006T () 9 Zeilen\n");
    NlsSettings settings{"c.cat", "c.cat", tree.root(), "", 10, 9};
    for (const std::string source : {"english", "german"}) {
        const bool english = source == "english";
        const std::string language = english ? "en_US" : "de_DE";
        ASSERT_EQ(0, run(tree.path(source) + " " + tree.path("english"))) << tree.read("said");
        tree.mkdirp(language);
        const std::string catalog = tree.path(language) + "/c.cat ";
        ASSERT_EQ(0, std::system(("gencat " + catalog + tree.path("made")).c_str()));
        nlSetLanguage(language);
        ASSERT_EQ(0, nlSetUp(settings));
        const NlsValues values = {"x", 3UL};
        EXPECT_EQ(english ? "ABC0005I 5% of {x} \"\\\" are 3" : "ABC0005I 3 ü%s x, 5%",
                  nlMessageText(5, values));
        EXPECT_EQ(english ? "7 lines\n8 lines" : "9 Zeilen", nlMessageText(6, values));
        nlClose();
    }
    nlSetLanguage("");
}

}  // namespace
