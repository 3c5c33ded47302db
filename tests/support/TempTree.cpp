#include "support/TempTree.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/mount.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

void require(bool done, const std::string& step) {
    if (!done)
        throw std::system_error(errno, std::generic_category(), step);
}

void run(const std::string& command) {
    require(std::system(command.c_str()) == 0, command);
}

}  // namespace

TempTree::TempTree() {
    std::array<char, 32> name{"/tmp/scantestXXXXXX"};
    require(mkdtemp(name.data()) != nullptr, "mkdtemp");
    directory = name.data();
}

TempTree::~TempTree() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

std::string TempTree::path(const std::string& name) const {
    return directory + "/" + name;
}

void TempTree::mkdirp(const std::string& name) const {
    std::filesystem::create_directories(path(name));
}

void TempTree::touch(const std::string& name, std::size_t bytes) const {
    write(name, std::string(bytes, 'x'));
}

void TempTree::write(const std::string& name, const std::string& content) const {
    std::ofstream file(path(name), std::ios::binary);
    file << content;
    file.close();
    require(file.good(), "write " + name);
}

void TempTree::symlink(const std::string& target, const std::string& name) const {
    require(::symlink(target.c_str(), path(name).c_str()) == 0, "symlink " + name);
}

void TempTree::link(const std::string& target, const std::string& name) const {
    require(::link(path(target).c_str(), path(name).c_str()) == 0, "link " + name);
}

void TempTree::mkfifo(const std::string& name) const {
    require(::mkfifo(path(name).c_str(), 0600) == 0, "mkfifo " + name);
}

void TempTree::chmod(const std::string& name, unsigned mode) const {
    require(::chmod(path(name).c_str(), mode) == 0, "chmod " + name);
}

void TempTree::chown(const std::string& name, unsigned user, unsigned group) const {
    require(::lchown(path(name).c_str(), user, group) == 0, "chown " + name);
}

void TempTree::times(const std::string& name, std::int64_t accessed,
                     std::int64_t modified) const {
    const std::array<timespec, 2> both = {
        timespec{accessed, 0},
        timespec{modified, 0}
    };
    require(utimensat(AT_FDCWD, path(name).c_str(), both.data(), AT_SYMLINK_NOFOLLOW) == 0,
            "times " + name);
}

std::string TempTree::read(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool TempTree::exists(const std::string& name) const {
    struct stat status {};
    return lstat(path(name).c_str(), &status) == 0;
}

bool TestMount::possible() {
    static const bool answer = [] {
        const TempTree tree;
        if (geteuid() != 0 || mount("tmpfs", tree.root().c_str(), "tmpfs", 0, nullptr) != 0)
            return false;
        umount2(tree.root().c_str(), MNT_DETACH);
        return true;
    }();
    return answer;
}

TestMount::TestMount(std::string mountPoint) : directory(std::move(mountPoint)) {}

TestMount::TestMount(TestMount&& other) noexcept
    : directory(std::exchange(other.directory, "")) {}

TestMount::~TestMount() {
    if (!directory.empty())
        umount2(directory.c_str(), MNT_DETACH);
}

TestMount TestMount::tmpfs(const std::string& directory) {
    require(mount("tmpfs", directory.c_str(), "tmpfs", 0, "mode=0755") == 0, "mount tmpfs");
    return TestMount(directory);
}

TestMount TestMount::ext4(const std::string& image, const std::string& directory,
                          const std::string& size, const std::string& options) {
    run("truncate -s " + size + " '" + image + "'");
    run("/sbin/mkfs.ext4 -q -F " + options + " '" + image + "'");
    run("mount -o loop,noatime '" + image + "' '" + directory + "'");
    return TestMount(directory);
}

TestMount TestMount::bind(const std::string& source, const std::string& directory) {
    require(mount(source.c_str(), directory.c_str(), nullptr, MS_BIND, nullptr) == 0,
            "mount --bind");
    return TestMount(directory);
}
