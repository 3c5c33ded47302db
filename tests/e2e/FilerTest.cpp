#include <iterator>
#include <regex>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"
#include "support/ownNamespace.h"

namespace {

/// A filer of this row, in the tree of computer 5 or in none.
std::string filer(const std::string& row, bool hasTree) {
    const std::string tree = hasTree ? "[LdapTree]\n5\n[/LdapTree]\n" : "";
    return "[NasFiler]\n" + row + "\n" + tree + "[/NasFiler]\n";
}

/// A host on which file systems of n files, at "m<n>", look like imports among many.
class FilerTest : public testing::Test {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        std::string table = "long /" + std::string(1 << 16, 'x') + " nfs4\n";
        for (const char* const device :
             {"FILER1.net:/vol/a", "filer2:/b", "192.0.2.3:/c#1", "filer4:/d", "filer5:/",
              "filer6:/", "/dev/local", "filer8:/h", "filer1.NET:/vol/a"}) {
            const std::string name = "m" + std::to_string(mounts.size() + 1);
            tree.mkdirp(name);
            mounts.push_back(TestMount::tmpfs(tree.path(name)));
            for (std::size_t file = 0; file < mounts.size(); ++file)
                tree.touch(name + "/" + std::to_string(file));
            table += device + (" " + tree.path(name)) + (*device == '/' ? " xfs\n" : " nfs4\n");
        }
        for (int i = 0; i < 10000; ++i)
            table += "nobody:/" + std::to_string(i) + " /none nfs\n";
        tree.mkdirp("etc");
        tree.write("etc/mtab", table);
        tree.write("etc/nsswitch.conf", "hosts: files\n");
        tree.write("etc/hosts", "192.0.2.4 filer4\n");
        run.inChild = [this] { coverInOwnNamespace(tree.path("etc"), "/etc"); };
    }

    /// Scans the file systems; how often the resolver was asked.
    long scan(const std::vector<RequestedFilesystem>& filesystems) {
        run.define(requestFor(filesystems));
        run.start({"-debug", "min", "-maxlogsize", "20480"});
        const std::string trace = run.tree.read("log/srv/job.0003_scan.00000005.trace");
        const std::regex answer("IP found = |getaddrinfo\\(\\) failed");
        return std::distance(std::sregex_iterator(trace.begin(), trace.end(), answer), {});
    }

    const TempTree tree;
    std::vector<TestMount> mounts;
    ScanRun run;
};

TEST_F(FilerTest, ExportsAreFoundUnderAnyNameAndWalkedFilerByFiler) {
    std::string tooDeep = "m6";
    for (int level = 0; level < 200; ++level)
        tooDeep += "/d";
    tree.mkdirp(tooDeep);
    const RequestedFilesystem local{7, tree.path("m7")};
    EXPECT_EQ(0, scan({local}));
    EXPECT_EQ("7", run.value("SSummary", "sumFileCount"));

    // Number 4 is mounted under another name of its address, 8 is of the computer of 1.
    const long asked = scan({
        {1, "/vol/a",    filer(R"(1,"A","filer1.net",null,1)",       true) },
        {2, "/b",        filer(R"(2," filer2 ",null,null,1)",        false)},
        {3, "/c#1",      filer(R"(3,"C",null,"192.0.2.3",1)",        true) },
        {4, "/d",        filer(R"(4,"D","unknown","192.0.2.4",1)",   false)},
        {5, "/vol/vol0", filer(R"(5,"E","filer5",null,23)",          false)},
        {6, "vol/vol0",  filer(R"(6,"filer6","F.net","filer6",1)",   true) },
        local,
        {8, "/h",        filer(R"(1,"filer8",null,null,1)",          true) },
        {9, "/gone",     filer(R"(9,null,"Gone.net","192.0.2.9",1)", false)},
    });
    EXPECT_EQ(8 + 2, asked);  // hosts of the table, and addresses that it does not hold
    EXPECT_EQ(4, run.exitCode);
    std::string walked;
    for (ScanRun::Record& summary : run.records("SSummary")) {
        walked += summary["sumFilesystemID"] + " ";
        EXPECT_EQ(summary["sumFilesystemID"], summary["sumFileCount"]);
    }
    EXPECT_EQ("7 5 4 2 1 8 6 3 ", walked);
    EXPECT_EQ("vol/vol0/", run.records("Filesystem").at(12)["fsMountPoint"]);
    for (const char* const text : {" Gone.net:/gone\n", " /vol/a/ (A)", " vol/vol0/d/d/d"})
        EXPECT_NE(std::string::npos, run.log().find(text)) << text;
}

TEST_F(FilerTest, ClustersAreAskedForTheirNamesOnlyIfOneIsWanted) {
    const std::string table = tree.read("etc/mtab");
    tree.mkdirp("m2/cluster");
    tree.write("etc/mtab", "any " + tree.path("m2") + " gridfs\nany /dead gridfs\n" + table);
    static_cast<void>(scan({
        {7, tree.path("m7")}
    }));
    EXPECT_EQ(0, run.exitCode) << run.log();
    static_cast<void>(scan({
        {7, tree.path("m7")},
        {2, "cluster"      }
    }));
    EXPECT_EQ(4, run.exitCode);  // for the table ends where a name cannot be read
    EXPECT_NE(std::string::npos, run.logged().find("STA0620E STA0622E"));
    EXPECT_EQ("2", run.value("SSummary", "sumFileCount"));
}

}  // namespace
