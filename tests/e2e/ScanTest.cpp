#include <ctime>
#include <filesystem>
#include <pwd.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"
#include "support/TempTree.h"

namespace {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t hit = text.find(from); hit != std::string::npos;
         hit = text.find(from, hit + to.size()))
        text.replace(hit, from.size(), to);
    return text;
}

/// The names in a directory, as it gives them.
std::vector<std::string> namesIn(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename());
    return names;
}

/// A line about an entry, with what the system says of it.
std::string withAttributes(std::string line) {
    struct stat status {};
    const std::size_t start = line.find("\"/") + 1;
    if (lstat(line.substr(start, line.find('"', start) - start).c_str(), &status) != 0)
        return line;
    line = replaced(line, "<ms>", std::to_string(status.st_mtime * 1000));
    line = replaced(line, "<len>", std::to_string(status.st_size));
    return replaced(line, "<inode>", std::to_string(status.st_ino));
}

TEST(ScanTest, TheWorkedExampleComesOutToTheLetter) {
    SKIP_UNLESS_ROOT_CAN_MOUNT();
    const TempTree tree;
    const std::string mountPoint = tree.path("m");
    tree.mkdirp("m");
    const TestMount mount = TestMount::tmpfs(mountPoint);
    tree.mkdirp("m/d1");
    tree.mkdirp("m/d2");
    if (namesIn(mountPoint).front() == "d1") {  // d2 is to be read first
        ASSERT_EQ(0, rmdir(tree.path("m/d1").c_str()));
        tree.mkdirp("m/d1");
    }
    tree.touch("m/d1/big.log", 40960);
    tree.touch("m/d1/small.TXT", 1);
    tree.touch("m/d1/x.tmp", 4096);
    tree.touch("m/d2/hl1.txt", 1);
    tree.link("m/d2/hl1.txt", "m/d2/hl2.txt");
    tree.touch("m/orphan.dat", 16384);
    tree.chown("m/orphan.dat", 54321, 54321);
    tree.symlink("d1", "m/lnk");
    tree.touch("m/fresh.txt", 1);
    const std::int64_t made = std::time(nullptr);
    const std::pair<const char*, int> kAges[] = {
        {"d1/big.log",   100},
        {"d1/small.TXT", 2  },
        {"d1/x.tmp",     5  },
        {"d2/hl1.txt",   40 },
        {"orphan.dat",   400},
        {"lnk",          20 },
        {"fresh.txt",    0  },
    };
    for (const auto& [name, days] : kAges)
        tree.times(std::string("m/") + name, made - days * 86400L, made - days * 86400L);

    ScanRun run;
    run.define(replaced(dataFile("example-definition.dat"), "/mnt/a", mountPoint));
    run.start();
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ("AGT0146I STA0532I STA0026I STA0027I STA0025I AGT0144I STA0161I", run.logged());
    EXPECT_NE(std::string::npos, run.log().find("\n" + std::string(25, ' ') + "usr.files\n"));

    ScanRun::Record filesystem = run.records("Filesystem").at(0);
    const std::int64_t scanTime = std::stoll(filesystem["fsScanTime"]) / 1000;
    const auto daysAgo = [made](int days) {
        return std::to_string((made - days * 86400L) * 1000);
    };
    std::string expected = replaced(dataFile("example-result.txt"), "/mnt/a", mountPoint);
    for (const auto& [placeholder, value] : {
             std::pair{"<f_files>",           filesystem["fsMaxFiles"]                                },
             {"<f_files - f_ffree>", filesystem["fsUsedInodes"]                              },
             {"<f_favail>",          filesystem["fsFreeInodes"]                              },
             {"<cap>",               filesystem["fsCapacity"]                                },
             {"<used>",              filesystem["fsUsedSpace"]                               },
             {"<free>",              filesystem["fsFreeSpace"]                               },
             {"<fsScanTime>",        filesystem["fsScanTime"]                                },
             {"<9711360+e>",         std::to_string(9711360 + scanTime - made)               },
             {"<T0-40d>",            daysAgo(40)                                             },
             {"<T0-100d>",           daysAgo(100)                                            },
             {"<T0-400d>",           daysAgo(400)                                            },
             {"<second link read>",  namesIn(tree.path("m/d2")).at(1)                        },
             {"\"root\",\"root\"",   std::string("\"root\",\"") + getpwuid(0)->pw_gecos + '"'},
    })
        expected = replaced(expected, placeholder, value);
    std::istringstream lines(run.result());
    std::istringstream expectedLines(expected);
    std::string line;
    for (std::string wanted; std::getline(expectedLines, wanted);) {
        ASSERT_TRUE(std::getline(lines, line)) << wanted;
        // Statistics are stamped in whole seconds when they are built.
        const std::size_t stamp = wanted.find("<build ms>");
        if (stamp != std::string::npos && line.substr(stamp + 10, 3) == "000")
            wanted = replaced(wanted, "<build ms>", line.substr(stamp, 13));
        ASSERT_EQ(withAttributes(wanted), line);
    }
    EXPECT_FALSE(std::getline(lines, line)) << line;
}

}  // namespace
