/// Measures what filters cost for each entry of a tree: a mask of the owner, a range of
/// times and a mask of the path, all three of which say yes, beside the filter that is
/// always true. Several kinds of path masks, as they cost differently.
///
/// usage: measure_filter DIRECTORY

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <pwd.h>
#include <string>
#include <vector>

#include "Probe/Filesystem.h"
#include "Scan/FileAction.h"
#include "Scan/FileAttributes.h"
#include "Scan/FileInfo.h"
#include "Scan/Selection.h"
#include "Scan/UberTable.h"
#include "Scan/UserOrGroup.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/UnixUserTable.h"

namespace {

constexpr int kRepeat = 2000;

struct Filter {
    std::string name;
    std::unique_ptr<SelectNode> root;
    long said = 0;                // entries selected
    std::vector<double> costs{};  // nanoseconds per entry
};

Filter compiled(const std::string& name, const std::string& clause) {
    Selection selection;
    selection.setFilter(clause);
    if (!selection.compile(name, 0))
        std::fprintf(stderr, "does not compile: %s\n", name.c_str());
    return {name, selection.takeRoot()};
}

/// The three tests in one clause; any time in 100 years, any owner but one without a name.
Filter combined(const std::string& mask) {
    using namespace std::string_literals;
    return compiled(mask, "&&=U[!/]*\0[M+\x80\0\0\0@\x7f\xff\xff\xff=F"s + mask + '\0');
}

class Measure : public FileAction {
public:
    explicit Measure(std::vector<Filter>& all) : FileAction("Measure"), filters(all) {}

    void actUpon(Scanner* scanner, FileAttributes* file) override {
        FileInfo info;
        info.scanner = scanner;
        info.name = file->faName.c_str();
        info.nameLength = file->faName.size();
        info.faType = file->faType;
        info.stat.modified = file->faModified / 1000;
        info.ownerName = file->faOwner->ugName;
        info.scanTime = scanner->getScanTime();
        length += file->faName.size();
        for (Filter& filter : filters) {
            const auto start = std::chrono::steady_clock::now();
            int selected = 0;
            for (int i = 0; i < kRepeat; ++i)
                selected += selects(filter.root.get(), &info) ? 1 : 0;
            const std::chrono::duration<double, std::nano> time =
                std::chrono::steady_clock::now() - start;
            filter.said += selected / kRepeat;
            filter.costs.push_back(time.count() / kRepeat);
        }
    }
    void directoryEntered(FileAttributes* /*directory*/) override {}
    void directoryLeft() override {}

    std::size_t length = 0;  // of all paths

private:
    std::vector<Filter>& filters;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: measure_filter DIRECTORY\n");
        return 2;
    }
    std::vector<Filter> filters;
    filters.push_back(compiled("(always true)", ""));
    for (const char* const mask : {"/home/users/%/", "/home/%/[!.]*", "/home/*/%/e*[0-4]",
                                   "/home/%/*9*/%/*.c", "%/*", "%/*7", "%/e*/*", "%/e*/%/e*1*"})
        filters.push_back(combined(mask));

    Filesystem filesystem;
    filesystem.fsMountPoint = "/home/users/";  // as which the directory is reported
    UberTable names;
    UnixUserTable users(names);
    DirectoryReaderFactory readers;
    Measure action(filters);
    const std::unique_ptr<SelectNode> all = compiled("", "").root;
    ScannerUnix scanner(&filesystem, {&action}, {all.get()}, &users, &readers, argv[1], 0);
    if (scanner.scan() != 0)
        return 1;

    const std::size_t entries = filters.front().costs.size();
    std::printf("%zu entries, paths of %zu characters on average\n%-16s %9s %9s %9s\n", entries,
                action.length / entries, "path mask", "selected", "median ns", "mean ns");
    for (Filter& filter : filters) {
        std::sort(filter.costs.begin(), filter.costs.end());
        double sum = 0;
        for (const double cost : filter.costs)
            sum += cost;
        std::printf("%-16s %9ld %9.1f %9.1f\n", filter.name.c_str(), filter.said,
                    filter.costs[entries / 2], sum / static_cast<double>(entries));
    }
    return 0;
}
