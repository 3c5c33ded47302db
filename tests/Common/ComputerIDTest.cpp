#include <gtest/gtest.h>

#include "Common/ComputerID.h"
#include "Common/GenericPrint.h"
#include "support/LogTest.h"

class ComputerIDTest : public LogTest {
protected:
    /// The identifier of an entity with this column; the code of a failure with a "!".
    std::string parsed(const std::string& column, const std::string& entity) const try {
        tree.write("file", "[Header]\n[ComputerID]\n" + column + "\n[/Header]\n" + entity);
        ParserAPI parser(tree.path("file"));
        const auto found = parser.findNextEntity(nullptr);
        return std::to_string(ComputerID::parseData(parser, *found)->get());
    } catch (const VEXParserException& failure) {
        return failure.getMessage() + "!" + std::to_string(failure.getErrCode());
    }
};

TEST_F(ComputerIDTest, ReadsWhatItWritesAndRefusesTheRest) {
    GenericPrint out(GenericPrint::ENTITIES, tree.path("out"));
    ComputerID(-7).printData(out);
    EXPECT_EQ("-7", parsed("computerID", tree.read("out")));
    EXPECT_FALSE(tree.exists("log"));
    EXPECT_EQ("Unable to parse datafile.\n!31", parsed("computer", tree.read("out")));
    for (const char* const row : {"1,2\n", "", "\"\"\"\n"}) {
        EXPECT_EQ(*row == '"' ? "0" : "Unable to parse datafile.\n!31",
                  parsed("computerID", std::string("[ComputerID]\n") + row + "[/ComputerID]\n"))
            << row;
    }
    EXPECT_EQ("GEN7001E", lastLogged().substr(0, 8));
}
