#include "Scan/AccumTest.h"
#include "Scan/FileTypeAccum.h"

class FileTypeAccumTest : public AccumTest {
protected:
    /// The ranking of a statistic as "7 200 .ext count space" for each member.
    static std::string ranking(const CuStatResults& from) {
        std::string text;
        for (const FileTypeSummary* member = from.srFileTypes.head(); member;
             member = member->nextSummary)
            text += std::to_string(member->filesystemID) + " " +
                    std::to_string(member->profileID) + " " +
                    member->fileType->ftpFileExtension + " " +
                    std::to_string(member->fileCount) + " " +
                    std::to_string(member->spaceUsed) + "\n";
        return text;
    }
};

TEST_F(FileTypeAccumTest, AnExtensionIsFoundFromTheEndOfThePath) {
    struct Case {
        const char* path;
        const char* here;
        const char* windows;
    };
    for (const Case& each : {
             Case{"/a/b.tar.gz",  ".gz",       ".gz"     },
             Case{"/a/b.sixsix",  ".sixsix",   ".sixsix" },
             Case{"/a/b.longext", "",          ".longext"},
             Case{"/a/b.",        "",          ""        },
             Case{"/a/b c.txt",   ".txt",      ".txt"    },
             Case{"/a/b.c d",     "",          ""        },
             Case{"/a.b/c",       "",          ""        },
             Case{R"(/a.b\c)",    "",          ""        },
             Case{"/a/.x",        ".x",        ".x"      },
             Case{".x",           "",          ""        },
             Case{"a.b",          ".b",        ".b"      },
             Case{"/a.\xc3\xa4",  ".\xc3\xa4", ""        },
             Case{"/a.b\n",       ".b\n",      ".b\n"    },
             Case{"/",            "",          ""        },
             Case{"",             "",          ""        },
    }) {
        for (const bool windows : {false, true}) {
            const std::string expected = windows ? each.windows : each.here;
            std::string_view found;
            const bool is = FileTypeAccum::extractExtensionName(each.path, windows, found);
            EXPECT_EQ(!expected.empty(), is) << each.path;
            EXPECT_EQ(expected, is ? found : "");
        }
    }
}

// Meant: the first by text wins a tie, unless a larger extension comes behind it by text.
TEST_F(FileTypeAccumTest, RegularFilesAddUpInAnyCaseAndAreOfferedInTheOrderOfTheirText) {
    for (const auto& [largest, tied] : {
             std::pair{".aaa", ".abc"},
             {".TXT", ".tie"}
    }) {
        FileTypeAccum accum(200, false, 3);
        for (const auto& [extension, blocks] : {
                 std::pair{largest, 8},
                 {".tie",  5},
                 {".Big",  2},
                 {".bIG",  4},
                 {".abc",  5}
        })
            meet(accum, file(std::string("/a") + extension, blocks));
        meet(accum, file("/l.lnk", 50, FA_LINK));
        meet(accum, file("/d.dir", 50, FA_DIRECTORY));
        meet(accum, file("/without", 50));
        accum.finish(nullptr);
        accum.finish(&results);
        const std::string lower = largest[1] == 'T' ? ".txt" : largest;
        EXPECT_EQ("7 200 " + lower + " 1 8\n7 200 .big 2 6\n7 200 " + tied + " 1 5\n",
                  ranking(results));
    }
}
