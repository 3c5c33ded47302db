/// Makes a tree of a given number of entries, the same at every run.
///
/// usage: make_tree DIRECTORY ENTRIES
///
/// About one entry in 35 is a directory, up to eight levels deep. Files are empty, sparse
/// or one page long; one in 50 is a symbolic link and one in 100 a second link of a file.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "Random.h"

namespace {

constexpr long kEntriesPerDirectory = 35;
constexpr std::size_t kMaxDepth = 8;

struct Directory {
    std::string path;
    std::size_t depth;
};

void require(bool done, const std::string& path) {
    if (done)
        return;
    std::perror(path.c_str());
    std::exit(1);
}

void makeFile(const std::string& path, Random& random) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    require(fd >= 0, path);
    const std::uint64_t kind = random.below(16);
    if (kind == 0) {
        static const std::array<char, 4096> kPage{};
        require(write(fd, kPage.data(), kPage.size()) == 4096, path);
    } else if (kind < 12) {
        require(ftruncate(fd, static_cast<off_t>(random.below(1U << 20U))) == 0, path);
    }
    // Some dozens of owners, one of them root; ignored where only root may do so.
    const auto owner = static_cast<uid_t>(random.below(50) * 7);
    static_cast<void>(!fchown(fd, owner, static_cast<gid_t>(owner % 11)));
    close(fd);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: make_tree DIRECTORY ENTRIES\n");
        return 2;
    }
    const long entries = std::strtol(argv[2], nullptr, 10);
    Random random;
    std::vector<Directory> directories = {
        {argv[1], 0}
    };
    std::string lastFile;
    for (long i = 0; i < entries; ++i) {
        const Directory& parent = directories[random.below(directories.size())];
        const std::string path = parent.path + "/entry" + std::to_string(i);
        const std::uint64_t kind = random.below(100);
        if (i % kEntriesPerDirectory == 0 && parent.depth < kMaxDepth) {
            require(mkdir(path.c_str(), 0755) == 0, path);
            directories.push_back({path, parent.depth + 1});
        } else if (kind < 2) {
            require(symlink("entry0", path.c_str()) == 0, path);
        } else if (kind < 3 && !lastFile.empty()) {
            require(link(lastFile.c_str(), path.c_str()) == 0, path);
        } else {
            lastFile = path + ".x" + std::to_string(kind % 40);
            makeFile(lastFile, random);
        }
    }
    std::printf("%ld entries, %zu directories\n", entries, directories.size() - 1);
    return 0;
}
