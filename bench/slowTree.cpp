// Mounts a file system of its own that answers every request after a set time, as a file
// server across a network does. It lets the kernel keep nothing, and answers many requests
// at once. Needs root.
//
// usage: slow_tree DIRECTORY MICROSECONDS      until SIGTERM or an unmount
//
// The tree has 24 directories of 24 directories of 33 files: 19,608 entries below the root.
// The protocol is that of <linux/fuse.h>.

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/fuse.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <thread>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::uint64_t kWidth = 24;          // directories of the root, and of each of those
constexpr std::uint64_t kFiles = 33;          // of each directory below
constexpr std::uint64_t kFirstLower = 100;    // node number of the first directory below
constexpr std::uint64_t kFirstFile = 100000;  // node number of the first file
constexpr unsigned kThreads = 128;
constexpr std::size_t kRequestSize = 135168;

enum class Kind { ROOT, UPPER, LOWER, FILE };

Kind kindOf(std::uint64_t node) {
    if (node == FUSE_ROOT_ID)
        return Kind::ROOT;
    if (node < kFirstLower)
        return Kind::UPPER;
    return node < kFirstFile ? Kind::LOWER : Kind::FILE;
}

std::uint64_t childCount(std::uint64_t node) {
    return kindOf(node) == Kind::LOWER ? kFiles : kWidth;
}

std::uint64_t childOf(std::uint64_t node, std::uint64_t index) {
    switch (kindOf(node)) {
        case Kind::ROOT:
            return 2 + index;
        case Kind::UPPER:
            return kFirstLower + (node - 2) * kWidth + index;
        default:
            return kFirstFile + (node - kFirstLower) * kFiles + index;
    }
}

fuse_attr attributesOf(std::uint64_t node) {
    fuse_attr attributes{};
    const bool file = kindOf(node) == Kind::FILE;
    attributes.ino = node;
    attributes.mode = file ? S_IFREG | 0644 : S_IFDIR | 0755;
    attributes.nlink = file ? 1 : 2;
    attributes.size = file ? 4096 * (node % 7) : 4096;
    attributes.blocks = attributes.size / 512;
    attributes.mtime = attributes.atime = attributes.ctime = 1700000000;
    attributes.blksize = 4096;
    return attributes;
}

/// The mount and its requests.
class Server {
public:
    Server(int device, long delayMicroseconds) : fd(device), delay(delayMicroseconds) {}

    /// Answers requests until the file system is unmounted.
    void serve() const {
        std::vector<char> request(kRequestSize);
        for (;;) {
            const ssize_t length = read(fd, request.data(), request.size());
            if (length < 0 && (errno == EINTR || errno == ENOENT || errno == EAGAIN))
                continue;
            if (length < static_cast<ssize_t>(sizeof(fuse_in_header)))
                return;
            fuse_in_header header;
            std::memcpy(&header, request.data(), sizeof header);
            answer(header, request.data() + sizeof header);
        }
    }

private:
    void answer(const fuse_in_header& header, const char* body) const {
        if (header.opcode == FUSE_FORGET || header.opcode == FUSE_BATCH_FORGET)
            return;
        const timespec pause{delay / 1000000, (delay % 1000000) * 1000};
        if (header.opcode != FUSE_INIT)
            nanosleep(&pause, nullptr);
        switch (header.opcode) {
            case FUSE_INIT:
                return init(header, body);
            case FUSE_LOOKUP:
                return lookUp(header, body);
            case FUSE_GETATTR: {
                fuse_attr_out out{};
                out.attr = attributesOf(header.nodeid);
                return reply(header, &out, sizeof out);
            }
            case FUSE_OPENDIR: {
                const fuse_open_out out{};
                return reply(header, &out, sizeof out);
            }
            case FUSE_READDIR:
                return readDirectory(header, body);
            case FUSE_STATFS: {
                fuse_statfs_out out{};
                out.st.bsize = out.st.frsize = 4096;
                out.st.blocks = 1000000;
                out.st.bfree = out.st.bavail = 500000;
                out.st.namelen = 255;
                return reply(header, &out, sizeof out);
            }
            case FUSE_RELEASEDIR:
                return reply(header, nullptr, 0);
            default:
                return fail(header, ENOSYS);
        }
    }

    void init(const fuse_in_header& header, const char* body) const {
        fuse_init_in in;
        std::memcpy(&in, body, sizeof in);
        fuse_init_out out{};
        out.major = FUSE_KERNEL_VERSION;
        out.minor = FUSE_KERNEL_MINOR_VERSION;
        out.max_readahead = in.max_readahead;
        out.flags = FUSE_PARALLEL_DIROPS;
        out.max_background = out.congestion_threshold = 256;
        out.max_write = 4096;
        reply(header, &out, sizeof out);
    }

    void lookUp(const fuse_in_header& header, const char* name) const {
        const std::uint64_t index = std::strtoull(name + 1, nullptr, 10);
        if (name[0] != 'n' || index >= childCount(header.nodeid))
            return fail(header, ENOENT);
        fuse_entry_out out{};
        out.nodeid = childOf(header.nodeid, index);
        out.attr = attributesOf(out.nodeid);
        reply(header, &out, sizeof out);
    }

    void readDirectory(const fuse_in_header& header, const char* body) const {
        fuse_read_in in;
        std::memcpy(&in, body, sizeof in);
        std::string entries;
        for (std::uint64_t index = in.offset; index < childCount(header.nodeid); ++index) {
            const std::string name = "n" + std::to_string(index);
            fuse_dirent entry{};
            entry.ino = childOf(header.nodeid, index);
            entry.off = index + 1;
            entry.namelen = static_cast<std::uint32_t>(name.size());
            std::string record(reinterpret_cast<const char*>(&entry), FUSE_NAME_OFFSET);
            record += name;
            record.resize(FUSE_DIRENT_ALIGN(record.size()));
            if (entries.size() + record.size() > in.size)
                break;
            entries += record;
        }
        reply(header, entries.data(), entries.size());
    }

    void fail(const fuse_in_header& request, int error) const {
        const fuse_out_header header{sizeof header, -error, request.unique};
        static_cast<void>(write(fd, &header, sizeof header));
    }

    void reply(const fuse_in_header& request, const void* body, std::size_t length) const {
        fuse_out_header header{};
        header.len = static_cast<std::uint32_t>(sizeof header + length);
        header.unique = request.unique;
        const std::array<iovec, 2> parts{
            iovec{&header,                 sizeof header},
            iovec{const_cast<void*>(body), length       }
        };
        static_cast<void>(writev(fd, parts.data(), 2));
    }

    const int fd;
    const long delay;  // microseconds
};

const char* mountPoint = nullptr;

void unmount(int /*signal*/) {
    umount2(mountPoint, MNT_DETACH);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: slow_tree DIRECTORY MICROSECONDS\n");
        return 2;
    }
    mountPoint = argv[1];
    const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    const std::string options =
        "fd=" + std::to_string(device) + ",rootmode=40000,user_id=0,group_id=0,allow_other";
    if (device < 0 || mount("/dev/zero", mountPoint, "fuse.slow_tree", MS_NOSUID | MS_NODEV,
                            options.c_str()) != 0) {
        std::perror("slow_tree");
        return 1;
    }
    std::signal(SIGTERM, unmount);
    const Server server(device, std::atol(argv[2]));
    std::vector<std::thread> threads;
    for (unsigned i = 1; i < kThreads; ++i)
        threads.emplace_back(&Server::serve, &server);
    server.serve();
    for (std::thread& thread : threads)
        thread.join();
    return 0;
}
