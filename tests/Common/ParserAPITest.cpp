#include <functional>
#include <memory>

#include <gtest/gtest.h>

#include "Common/GenericException.h"
#include "Common/ParserAPI.h"
#include "support/TempTree.h"

namespace {

class ParserAPITest : public testing::Test {
protected:
    void file(const std::string& text) {
        tree.write("file", text);
        reader = std::make_unique<ParserAPI>(tree.path("file"));
        first = reader->findFirstEntity(false);
    }
    void body(const std::string& text) { file("[Header]\n[Data]\na,b\n[/Header]\n" + text); }

    std::string children() {
        std::string text;
        for (const auto& child : reader->getEntityChildren(*first))
            text += child->name + "," + child->subName + ";";
        return text;
    }
    static int failure(const std::function<void()>& operation) try {
        operation();
        return 0;
    } catch (const VEXParserException& thrown) {
        return thrown.getErrCode();
    }
    int next() {
        return failure([&] { first = reader->findNextEntity(first.get()); });
    }

    TempTree tree;
    std::unique_ptr<ParserAPI> reader;
    std::unique_ptr<ParserAPI::Entity> first;
};

TEST_F(ParserAPITest, DividesARowIntoFields) {
    const auto fields = [&](const std::string& line) {
        body("[Data]\n" + line + "\n[/Data]\n");
        return reader->getEntityData(*first).at(0);
    };
    EXPECT_EQ(Row({"1", "", "", "null", "a,b"}), fields(R"(1,null,,"","null","a,b",)"));
    EXPECT_EQ(Row({"\"a\" ", "", " \"b\"", ""}), fields(R"( "a" ,"", "b",")"));
    EXPECT_EQ(Row({"a\",b,c"}), fields(R"(a",b,c)"));
    EXPECT_EQ(Row({"a\"\"b", "\"\"b", "ab\"c"}), fields(R"("a""b","""b","ab""c")"));
    EXPECT_EQ(Row({"ab\"\"\"", "abcd\"\"\"ef"}), fields(R"("ab""""","abcd""""ef")"));
    EXPECT_EQ(Row({"[A]"}), fields("[A]")) << "one letter is no tag";
}

TEST_F(ParserAPITest, RowsEndAtATagOrAnEmptyLine) {
    for (const std::string end : {"[Child]\n3\n[/Child]\n", "[/Data]\n", " \t\n3\n"}) {
        body("[Data]\n1\n2\r\n" + end);
        EXPECT_EQ(Table({Row{"1"}, Row{"2"}}), reader->getEntityData(*first)) << end;
    }
}

TEST_F(ParserAPITest, FindsEntitiesByDepth) {
    const std::string entities =
        "[Scan]\n1\n[Scan]\n[Scan]\n[/Scan]\n[/Scan]\n  [Leaf,Sub]\t\r\nx\n[/Leaf]\n[/Scan]\n"
        "between\n[Next]\n[/Next]";  // without a line feed at the end
    body(entities);
    EXPECT_EQ("Scan,;Leaf,Sub;", children());
    EXPECT_EQ(0, next());
    EXPECT_EQ("Next", first->name);
    EXPECT_EQ(0, next());
    EXPECT_EQ(nullptr, first);
    file("no header\n" + entities);
    EXPECT_EQ(nullptr, first);
}

TEST_F(ParserAPITest, ABrokenNestingStaysBroken) {
    body("[Scan]\n[A]\n1\n[/A]\n[/Scan]\n[Next]\n[/Next]\n");  // [A] opens nothing
    EXPECT_EQ("", children());
    EXPECT_EQ(17, next());
    body("[Scan]\n[Child]\n[/Child]\n[/Sca");
    EXPECT_EQ("Child,;", children());
    EXPECT_EQ(17, next());
    body("[Data]\n1\n");
    EXPECT_EQ(17, failure([&] { reader->getEntityData(*first).clear(); }));
}

TEST_F(ParserAPITest, TheFirstRowBehindATypeIsItsHeader) {
    file("[Header]\n[Data]\na,b\n[Data]\nc\n[Blank]\n\nd\n[Pair,Sub]\ne\n[/Header]\n");
    EXPECT_EQ(Row({"a", "b"}), reader->getEntityHeader({"Data", 0, 0, ""}));
    EXPECT_EQ(Row(), reader->getEntityHeader({"Blank", 0, 0, ""}));
    EXPECT_EQ(321, failure([&] { reader->getEntityHeader({"Pair", 0, 0, "Sub"}).clear(); }));
}

TEST_F(ParserAPITest, RefusesWhatIsNoReadableFile) {
    tree.mkfifo("fifo");
    EXPECT_EQ(12, failure([] { const ParserAPI opened(""); }));
    for (const std::string& path : {tree.path("missing"), tree.path("fifo"), tree.root()})
        EXPECT_EQ(13, failure([&] { const ParserAPI opened(path); })) << path;
}

TEST_F(ParserAPITest, SurvivesHostileContent) {
    const std::string zeros(1U << 20U, '\0');
    file("[Header]\n" + zeros + "\n" + zeros);
    EXPECT_EQ(nullptr, first);
    // A matcher that backtracks without bound would take hours over these.
    std::string lines = "[" + std::string(900, 'a') + "!]\n";
    for (int i = 0; i < 200; ++i)
        lines += "[" + std::string(100000, 'a') + (i % 2 == 0 ? "!]\n" : ",a,]\n");
    body("[Scan]\n" + lines + zeros + "\n[/Scan]\n");
    EXPECT_EQ(202U, reader->getEntityData(*first).size());
}

}  // namespace
