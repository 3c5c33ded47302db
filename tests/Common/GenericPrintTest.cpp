#include <filesystem>

#include <gtest/gtest.h>

#include "Common/GenericException.h"
#include "Common/GenericPrint.h"
#include "support/TempTree.h"

TEST(GenericPrintTest, EveryLineIsOnDiskAtOnce) {
    const TempTree tree;
    GenericPrint out(GenericPrint::ENTITIES, tree.path("new/folder/out"));
    out.startEntity("Data");
    out.headerRow({"dID", "dName"});
    out.endEntity("Header");
    out.startEntity("Data", "Sub");
    out.row({"", "say \"x\"\r\n", "", "null"});
    const std::string written =
        "[Data]\ndID,dName\n[/Header]\n[Data,Sub]\n,\"say \"\"x\"\"  \",,\"null\"\n";
    EXPECT_EQ(written, tree.read("new/folder/out"));
    out.close("end");
    EXPECT_EQ(written + "end", tree.read("new/folder/out"));
}

TEST(GenericPrintTest, AFileIsWrittenThroughItsDescriptorAndMissedAtTheClose) {
    const TempTree tree;
    tree.write("out", "of an earlier run");
    tree.chmod("out", 0666);
    GenericPrint out(GenericPrint::ENTITIES, tree.path("out"));
    std::filesystem::rename(tree.path("out"), tree.path("moved"));
    tree.write("out", "of a stranger");
    out.startEntity("Data");
    try {
        out.close();
        ADD_FAILURE();
    } catch (VEXIOException* thrown) {
        delete thrown;
    }
    EXPECT_EQ("[Data]\n", tree.read("moved"));
    EXPECT_EQ("of a stranger", tree.read("out"));
    EXPECT_EQ(0600U,
              static_cast<unsigned>(std::filesystem::status(tree.path("moved")).permissions()));
}

TEST(GenericPrintTest, OtherFormatsTakeNamedValues) {
    const TempTree tree;
    for (const std::int32_t format : {1, 2}) {
        GenericPrint out(format, tree.path(std::to_string(format)));
        out.startEntity("Outer");
        out.startEntity("Inner");
        out.namedValue("key", "a\nb");
        out.endEntity("Inner");
        out.namedValue("k", "-1");
        for (int i = 0; i < 100; ++i)
            out.startEntity("X");  // deeper than names are kept
    }
    EXPECT_EQ(0U, tree.read("1").find("Begin Outer\nBegin Inner\nInner.key=a b\nEnd Inner\n"
                                      "Outer.k=N/A\nBegin X\n"));
    EXPECT_EQ(0U, tree.read("2").find("<Outer><Inner><key>a b</key></Inner><k>N/A</k><X>"));
}

TEST(GenericPrintTest, AFileThatCannotBeMadeShowsAtTheFirstWrite) {
    const TempTree tree;
    tree.touch("file");
    using Paths = std::vector<std::string>;
    for (const std::string& path : Paths{"", tree.root(), tree.path("file/x"), "/dev/full"}) {
        GenericPrint out(GenericPrint::ENTITIES, path);
        try {
            out.startEntity("Header");
            ADD_FAILURE() << path;
        } catch (VEXIOException* thrown) {
            EXPECT_EQ("ERROR: writing data to file failed", thrown->getMessage());
            delete thrown;
        }
    }
}
