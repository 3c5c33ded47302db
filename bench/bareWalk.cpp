// The bare system calls of a walk, as the measure of what a file system itself takes:
// names in blocks, and the attributes of each, relative to the open directory.
//
// usage: bare_walk DIRECTORY [THREADS]      each thread reads whole directories

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/// The directories that are known and not read.
class Work {
public:
    void add(std::string path) {
        const std::lock_guard<std::mutex> lock(mutex);
        waiting.push_back(std::move(path));
        ++open;
        changed.notify_one();
    }

    /// False when all are read.
    bool take(std::string& path) {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [this] { return !waiting.empty() || open == 0; });
        if (waiting.empty())
            return false;
        path = std::move(waiting.back());
        waiting.pop_back();
        return true;
    }

    void finish() {
        const std::lock_guard<std::mutex> lock(mutex);
        if (--open == 0)
            changed.notify_all();
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> waiting;
    std::size_t open = 0;  // waiting or being read
};

void readDirectory(const std::string& path, Work& work, std::atomic<long>& blocks) {
    const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    alignas(8) char buffer[32768];
    long sum = 0;
    for (ssize_t length; (length = getdents64(fd, buffer, sizeof buffer)) > 0;) {
        for (ssize_t at = 0; at < length;) {
            const auto* const entry = reinterpret_cast<const dirent64*>(buffer + at);
            at += entry->d_reclen;
            const char* const name = entry->d_name;
            struct stat status {};
            if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0 ||
                fstatat(fd, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            sum += status.st_blocks;
            if (S_ISDIR(status.st_mode))
                work.add(path + "/" + name);
        }
    }
    close(fd);
    blocks += sum;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: bare_walk DIRECTORY [THREADS]\n");
        return 2;
    }
    Work work;
    std::atomic<long> blocks{0};
    work.add(argv[1]);
    const auto run = [&] {
        for (std::string path; work.take(path); work.finish())
            readDirectory(path, work, blocks);
    };
    std::vector<std::thread> threads;
    for (long i = 1; i < (argc > 2 ? std::atol(argv[2]) : 1); ++i)
        threads.emplace_back(run);
    run();
    for (std::thread& thread : threads)
        thread.join();
    std::printf("%ld\n", blocks.load() / 2);
    return 0;
}
