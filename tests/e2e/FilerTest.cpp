#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/ScanRun.h"
#include "support/ownNamespace.h"

namespace {

struct Export {
    const char* path;   // as the request names it
    const char* filer;  // nfComputerID,nfName,nfNetworkName,nfIPAddress,nfOSType; null: local
    int tree;           // 0 for none
};

/// A definition that asks for the built-in summary of the file systems 1, 2, ...
std::string requestFor(const std::vector<Export>& exports) {
    std::string text =
        "[Header]\n[AgentScan]\nasJobName,asScanningCompID\n[Filesystem]\nfsID,fsMountPoint\n"
        "[NasFiler]\nnfComputerID,nfName,nfNetworkName,nfIPAddress,nfOSType\n"
        "[LdapTree]\nltComputerID\n[CuStatDef]\nsdID,sdCreator,sdName,sdType,sdSummary\n"
        "[/Header]\n[AgentScan]\n\"job\",42\n";
    int id = 0;
    for (const Export& requested : exports) {
        text += "[Filesystem]\n" + std::to_string(++id) + ",\"" + requested.path + "\"\n";
        if (requested.filer)
            text += std::string("[NasFiler]\n") + requested.filer + "\n";
        if (requested.tree != 0)
            text += "[LdapTree]\n" + std::to_string(requested.tree) + "\n[/LdapTree]\n";
        text += requested.filer ? "[/NasFiler]\n[/Filesystem]\n" : "[/Filesystem]\n";
    }
    return text + "[CuStatDef]\n100,\"sys\",\"builtin\",3,\"Y\"\n[/CuStatDef]\n[/AgentScan]\n";
}

/// A host on which file systems of n files at "m<n>" look like imports.
class FilerTest : public testing::Test {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        writeResolver(tree, "etc", "192.0.2.4 filer4\n");
        std::string table;
        int number = 0;
        for (const char* const device :
             {"FILER1.net:/vol/a", "filer2:/b", "192.0.2.3:/c#1", "filer4:/d", "filer5:/",
              "filer6:/", "/dev/local", "filer8:/h", "filer1.NET:/vol/a"}) {
            const std::string name = "m" + std::to_string(++number);
            tree.mkdirp(name);
            mounts.push_back(TestMount::tmpfs(tree.path(name)));
            for (int file = 0; file < number; ++file)
                tree.touch(name + "/" + std::to_string(file));
            table += std::string(device) + " " + tree.path(name) +
                     (device[0] == '/' ? " tmpfs" : " nfs4") + " rw 0 0\n";
        }
        tree.write("etc/mtab", table);
        run.inChild = [this] {
            if (!coverInOwnNamespace(tree.path("etc"), "/etc"))
                _exit(126);
        };
    }

    const TempTree tree;
    std::vector<TestMount> mounts;
    ScanRun run;
};

TEST_F(FilerTest, ExportsAreFoundUnderAnyNameAndWalkedFilerByFiler) {
    std::string deepest = "m6";
    for (int level = 0; level < 200; ++level)
        deepest += "/d";
    tree.mkdirp(deepest);
    const std::string local = tree.path("m7");
    run.define(requestFor({
        {"/vol/a",      R"(1,"A","filer1.net",null,1)",       5},
        {"/b",          R"(2," filer2 ",null,null,1)",        0},
        {"/c#1",        R"(3,"C",null,"192.0.2.3",1)",        5},
        {"/d",          R"(4,"D","nobody","192.0.2.4",1)",    0}, // written as "filer4"
        {"/vol/vol0",   R"(5,"E","filer5",null,23)",          0},
        {"vol/vol0",    R"(6,"filer6","F.net","filer6",1)",   5},
        {local.c_str(), nullptr,                              0},
        {"/h",          R"(1,"filer8",null,null,1)",          5}, // the same computer as the first
        {"/gone",       R"(9,null,"Gone.net","192.0.2.9",1)", 0},
    }));
    run.start();
    EXPECT_EQ(4, run.exitCode);

    std::string walked;
    for (ScanRun::Record& summary : run.records("SSummary")) {
        walked += summary["sumFilesystemID"] + " ";
        EXPECT_EQ(summary["sumFilesystemID"], summary["sumFileCount"]);
    }
    EXPECT_EQ("7 5 4 2 1 8 6 3 ", walked);
    EXPECT_EQ("vol/vol0/", run.records("Filesystem").at(12)["fsMountPoint"]);
    for (const char* const line :
         {" Gone.net:/gone\n", " /vol/a/ (A)", " vol/vol0/ (filer6)", " vol/vol0/d/d/d"})
        EXPECT_NE(std::string::npos, run.log().find(line)) << line;
}

TEST_F(FilerTest, ARequestOfLocalFileSystemsAsksForNoHost) {
    const std::string local = tree.path("m7");
    run.define(requestFor({
        {local.c_str(), nullptr, 0}
    }));
    run.start({"-debug", "min"});
    EXPECT_EQ(0, run.exitCode);
    const std::string trace = run.tree.read("log/srv/job.0003_scan.00000005.trace");
    EXPECT_NE(std::string::npos, trace.find("makeMountsMap"));
    EXPECT_EQ(std::string::npos, trace.find("getaddrinfo() failed"));
    EXPECT_EQ(std::string::npos, trace.find("IP found"));
}

}  // namespace
