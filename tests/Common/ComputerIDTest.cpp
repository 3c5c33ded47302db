#include "Common/ComputerID.h"
#include "Common/GenericPrint.h"
#include "support/LogTest.h"

using ComputerIDTest = LogTest;

TEST_F(ComputerIDTest, ReadsWhatItWritesAndRefusesTheRest) {
    const auto parsed = [this](const std::string& columns) {
        GenericPrint out(GenericPrint::ENTITIES, tree.path("file"));
        out.headerRow({"[Header]\n[ComputerID]\n" + columns + "\n[/Header]"});
        ComputerID(-7).printData(out);
        ParserAPI parser(tree.path("file"));
        return ComputerID::parseData(parser, *parser.findNextEntity(nullptr))->get();
    };
    EXPECT_EQ(-7, parsed("computerID"));
    EXPECT_THROW(parsed("computer"), VEXParserException);
    EXPECT_THROW(parsed("computerID,x"), VEXParserException);
    EXPECT_TRUE(logged("GEN7001E"));
}
