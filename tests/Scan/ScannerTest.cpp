#include <filesystem>

#include <gtest/gtest.h>

#include "Common/GenericException.h"
#include "Scan/FileAttributes.h"
#include "Scan/FileInfo.h"
#include "Scan/Scanner.h"
#include "Scan/WalkTest.h"
#include "Scan/unix/DirectoryReaderUnix.h"

namespace {

/// Raises what a name such as "open-failure" asks for at this call.
void raiseFor(const std::string& path, const std::string& call) {
    const auto asksFor = [&](auto what) { return path.find(call + what) != path.npos; };
    if (asksFor("-failure"))
        throwGenericException(1, message::STA0063E.number, "cause", "text");
    if (asksFor("-refused"))
        throwGenericException(1, message::STA0529E.number, "cause", "STA0529E");
    if (asksFor("-standard"))
        throw new LocalizableException;
}

/// Reads a real directory, after so many files that are on no disk. A name that holds "lost"
/// has no attributes, and one that holds "linked" has more links than a record can hold.
class FakeReader : public DirectoryReaderUnix {
public:
    explicit FakeReader(long files) : left(files) {}
    std::unique_ptr<DirectoryStream> Open(const std::string& path) override {
        raiseFor(path, "open");
        return DirectoryReaderUnix::Open(path);
    }
    bool NextDirEntry(std::int16_t fsType) override {
        if (left-- > 0) {
            scanner->ScannerFinishOffNextEntry("no file");
            return true;
        }
        const bool found = DirectoryReaderUnix::NextDirEntry(fsType);
        raiseFor(found ? scanner->getCurrentFile()->faName : "", "read");
        return found;
    }
    std::optional<EntryIdentity> Stat(FileAttributes* file) override {
        raiseFor(file->faName, "stat");
        if (file->faName.ends_with("no file"))
            return EntryIdentity{};
        const auto place = DirectoryReaderUnix::Stat(file);
        if (file->faName.find("linked") != std::string::npos) {
            FileInfo info;
            info.stat.linkCount = 3'000'000'000;
            ScannerFinishOffStat(file, &info);
        }
        return file->faName.find("lost") == std::string::npos ? place : std::nullopt;
    }

private:
    long left;
};

}  // namespace

class ScannerTest : public WalkTest, public DirectoryReaderFactory {
protected:
    std::unique_ptr<DirectoryReader> newDirectoryReader(Scanner* scanner, bool first) override {
        auto reader = std::make_unique<FakeReader>(files);
        reader->init(scanner, first);
        return reader;
    }

    const TempTree tree;
    long files = 0;  // that are on no disk
};

TEST_F(ScannerTest, AFailureAtTheRootDecidesTheCode) {
    const std::pair<const char*, int> kCodes[] = {
        {"/open-refused/",  4},
        {"/open-standard/", 8},
        {"/stat-failure/",  8},
        {"/lost/",          4},
    };
    for (const auto& [root, code] : kCodes) {
        filesystem.fsMountPoint = root;
        EXPECT_EQ(code, walk(*this, tree.root())) << root;
    }
    EXPECT_EQ(1, logged("STA0063E.* cause"));
}

TEST_F(ScannerTest, AFailureAtAnEntryLeavesTheOthersAlone) {
    const std::tuple<std::string, int, const char*> kCases[] = {
        {"read-standard", 4, "AGT0144I .*: 3"          },
        {"lost",          0, "AGT0144I .*: 4"          },
        {"stat-failure",  0, "STA0069W.* /stat-failure"},
        {"open-failure",  0, "STA0063E.* cause"        },
        {"open-refused",  4, "STA0529E.* cause"        },
        {"open-standard", 4, "AGT0144I .*: 4"          },
    };
    tree.touch("a");
    tree.mkdirp("z");
    for (const auto& [name, code, report] : kCases) {
        tree.mkdirp(name);
        action.seen.clear();
        const long before = logged(report);
        EXPECT_EQ(code, walk(*this, tree.root())) << name;
        EXPECT_LT(before, logged(report)) << name;
        EXPECT_EQ(name.starts_with("open") ? "/ /a /" + name + " /z" : "/ /a /z",
                  action.paths());
        std::filesystem::remove(tree.path(name));
    }
    action.onAct = [](const std::string& path) { raiseFor(path + "-failure", "a"); };
    EXPECT_EQ(8, walk(*this, tree.root()));
}

TEST_F(ScannerTest, AFileHasAtMostTheLinksThatARecordCanHold) {
    tree.touch("linked");
    EXPECT_EQ(0, walk(*this, tree.root()));
    EXPECT_EQ(2147483647, action.seen.at("/linked").faLinkCount);
}

TEST_F(ScannerTest, ProgressIsToldEveryHundredThousandEntriesTheRootIncluded) {
    long before = 0;
    for (const long entries : {99999, 100000, 199999, 200000}) {
        files = entries - 1;
        EXPECT_EQ(0, walk(*this, tree.root()));
        EXPECT_EQ(before += entries / 100000, logged("AGT0143I .*: [12]00000\n")) << entries;
        EXPECT_EQ(1, logged("AGT0144I .*: " + std::to_string(entries) + "\n"));
    }
}
