/// A file server that can hang: a FUSE file system
/// (https://docs.kernel.org/filesystems/fuse.html) whose root holds the files "0", "1" and so
/// on, and a directory "sub" with the same names. The size of a file is its inode number, so
/// that nobody's record can pass for another's.
///
/// usage: fuse_server MOUNTPOINT FILES
///
/// Reads commands from standard input and says "ok" after each, and when it has mounted:
///     hold NAME   keep requests for NAME from now on, "*" for all
///     keep .      hold no further ones
///     answer .    the same, and answer all that are held
///     late US     answer look-ups after 0.5 to 1.5 times so many microseconds
///     break N     fail when a directory is listed from its entry N on
///     stick N     keep those requests instead
///
///     lie .       attributes are extremes from now on, and "sub" holds another, fifty deep
///
/// Ends with its parent, or after some minutes, whatever is held: nothing hangs for ever.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <limits>
#include <linux/fuse.h>
#include <map>
#include <poll.h>
#include <string>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kSub = 2;             // inode of the directory
constexpr std::uint64_t kLowestSub = 50;      // in a server that lies
constexpr std::uint64_t kDirectories = 1000;  // inodes below it are directories

/// Inode of the file "0" of a directory.
std::uint64_t firstFile(std::uint64_t directory) {
    return directory < kSub ? kDirectories : (directory - 1) * 1'000'000;
}

struct Request {
    fuse_in_header header;
    std::string body;
};

int device = -1;
std::uint64_t files = 0;
bool lies = false;
std::string heldName;  // empty for none
std::vector<Request> held;
std::multimap<Clock::time_point, Request> late;
std::chrono::microseconds lateness{0};
std::uint64_t brokenAt = UINT64_MAX;  // entries from here on are not listed
bool sticks = false;                  // who asks for them waits

void reply(const Request& request, int error, const void* data, std::size_t size) {
    fuse_out_header header{};
    header.len = static_cast<std::uint32_t>(sizeof header + size);
    header.error = -error;
    header.unique = request.header.unique;
    const std::array<iovec, 2> parts = {
        iovec{&header,                 sizeof header},
        iovec{const_cast<void*>(data), size         }
    };
    static_cast<void>(writev(device, parts.data(), size > 0 ? 2 : 1));
}

bool hasSub(std::uint64_t directory) {
    return directory == FUSE_ROOT_ID || (lies && directory < kLowestSub);
}

/// 0 if there is no such entry.
std::uint64_t inodeOf(std::uint64_t directory, const std::string& name) {
    if (name == "sub" && hasSub(directory))
        return directory + 1;
    const std::uint64_t number = std::strtoull(name.c_str(), nullptr, 10);
    return number < files && name == std::to_string(number) ? firstFile(directory) + number : 0;
}

void exaggerate(fuse_attr& attributes) {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    std::uint64_t* const fields[] = {&attributes.size, &attributes.blocks, &attributes.mtime,
                                     &attributes.atime, &attributes.ctime};
    const std::uint64_t values[] = {most, 0, most - 1, most / 1000};
    *fields[attributes.ino % 5] = values[attributes.ino / 5 % 4];
    if (attributes.ino % 5 == 2)  // times of two hundred billion years ago
        attributes.mtime = attributes.atime = most + 1 + attributes.ino;
    attributes.uid = static_cast<std::uint32_t>(attributes.ino * 0x1000001);
    attributes.nlink = attributes.ino % 7 == 0 ? 0xFFFFFFFF : attributes.ino % 7 == 1 ? 0 : 1;
}

void describe(fuse_attr& attributes, std::uint64_t inode) {
    attributes.ino = attributes.size = inode;
    attributes.mode = inode < kDirectories ? S_IFDIR | 0755 : S_IFREG | 0644;
    attributes.nlink = 1;
    if (lies)
        exaggerate(attributes);
}

std::string entriesOf(std::uint64_t directory, const fuse_read_in& from) {
    std::string out;
    const std::uint64_t count = files + (hasSub(directory) ? 1U : 0U);
    for (std::uint64_t i = from.offset; i < std::min(count, brokenAt); ++i) {
        const std::string name = i < files ? std::to_string(i) : "sub";
        fuse_dirent entry{};
        entry.ino = inodeOf(directory, name);
        entry.off = i + 1;
        entry.namelen = static_cast<std::uint32_t>(name.size());
        std::string record(FUSE_DIRENT_ALIGN(FUSE_NAME_OFFSET + name.size()), '\0');
        std::memcpy(record.data(), &entry, FUSE_NAME_OFFSET);
        name.copy(&record[FUSE_NAME_OFFSET], name.size());
        if (out.size() + record.size() > from.size)
            break;
        out += record;
    }
    return out;
}

void answer(const Request& request) {
    const std::uint64_t node = request.header.nodeid;
    union {
        fuse_init_out init;
        fuse_entry_out entry;
        fuse_attr_out attr;
        fuse_open_out open;
        fuse_statfs_out statfs;
    } out{};
    std::memset(&out, 0, sizeof out);
    switch (request.header.opcode) {
        case FUSE_INIT:
            out.init.major = FUSE_KERNEL_VERSION;
            out.init.minor = FUSE_KERNEL_MINOR_VERSION;
            out.init.flags = FUSE_PARALLEL_DIROPS;  // a name that hangs stops no other
            out.init.max_write = 4096;
            return reply(request, 0, &out, sizeof out.init);
        case FUSE_LOOKUP:
            out.entry.nodeid = inodeOf(node, request.body.c_str());
            out.entry.attr_valid = 3600;  // but names are not: each look at an entry asks once
            describe(out.entry.attr, out.entry.nodeid);
            return reply(request, out.entry.nodeid == 0 ? ENOENT : 0, &out,
                         out.entry.nodeid == 0 ? 0 : sizeof out.entry);
        case FUSE_GETATTR:
            out.attr.attr_valid = 3600;
            describe(out.attr.attr, node);
            return reply(request, 0, &out, sizeof out.attr);
        case FUSE_READDIR: {
            fuse_read_in from{};
            std::memcpy(&from, request.body.data(), sizeof from);
            if (from.offset >= brokenAt)
                return reply(request, EIO, nullptr, 0);
            const std::string entries = entriesOf(node, from);
            return reply(request, 0, entries.data(), entries.size());
        }
        case FUSE_OPENDIR:
            return reply(request, 0, &out, sizeof out.open);
        case FUSE_STATFS:
            return reply(request, 0, &out, sizeof out.statfs);
        case FUSE_FORGET:
        case FUSE_BATCH_FORGET:
        case FUSE_INTERRUPT:
            return;  // these have no answer
        default:
            return reply(request, ENOSYS, nullptr, 0);
    }
}

bool isStuck(const Request& request) {
    fuse_read_in from{};
    if (!sticks || request.header.opcode != FUSE_READDIR)
        return false;
    std::memcpy(&from, request.body.data(), sizeof from);
    return from.offset >= brokenAt;
}

void take(Request request) {
    const bool lookUp = request.header.opcode == FUSE_LOOKUP;
    const bool everything = heldName == "*" && request.header.opcode != FUSE_INIT;
    if (everything || (lookUp && heldName == request.body.c_str()) || isStuck(request))
        held.push_back(std::move(request));
    else if (lookUp && lateness.count() > 0)
        late.emplace(Clock::now() + lateness / 2 + lateness * (std::rand() % 1000) / 1000,
                     std::move(request));
    else
        answer(request);
}

void obey() {
    std::string command;
    std::string argument;
    if (!(std::cin >> command >> argument))
        std::exit(0);
    heldName = command == "hold" ? argument : "";
    lies = lies || command == "lie";
    lateness = std::chrono::microseconds(command == "late" ? std::stol(argument) : 0);
    sticks = command == "stick";
    brokenAt = sticks || command == "break" ? std::stoull(argument) : UINT64_MAX;
    if (command == "answer") {
        for (const Request& request : std::exchange(held, {}))
            answer(request);
    }
    std::cout << "ok" << std::endl;
}

/// Gives the answers that are due, and says how long the next can wait.
timespec answerLate() {
    for (; !late.empty() && late.begin()->first <= Clock::now(); late.erase(late.begin()))
        answer(late.begin()->second);
    const Clock::duration most = std::chrono::milliseconds(100);
    const auto wait = late.empty() ? most : std::min(most, late.begin()->first - Clock::now());
    return {0, std::max(wait, Clock::duration(0)).count()};
}

}  // namespace

int main(int argc, char** argv) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    alarm(240);
    files = argc == 3 ? std::strtoull(argv[2], nullptr, 10) : 0;
    device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    const std::string options =
        "fd=" + std::to_string(device) + ",rootmode=40755,user_id=0,group_id=0";
    if (files == 0 || mount("fuse_server", argv[1], "fuse", 0, options.c_str()) != 0)
        return 1;
    std::cout << "ok" << std::endl;
    for (std::array<char, 65536> buffer{};;) {
        std::array<pollfd, 2> ready = {
            pollfd{device, POLLIN, 0},
            pollfd{0,      POLLIN, 0}
        };
        const timespec wait = answerLate();
        ppoll(ready.data(), ready.size(), &wait, nullptr);
        if (ready[1].revents != 0)
            obey();
        if (ready[0].revents == 0)
            continue;
        const ssize_t size = read(device, buffer.data(), buffer.size());
        Request request{};
        if (size < static_cast<ssize_t>(sizeof request.header))
            return 1;  // unmounted
        std::memcpy(&request.header, buffer.data(), sizeof request.header);
        request.body.assign(&buffer[sizeof request.header],
                            static_cast<std::size_t>(size) - sizeof request.header);
        take(std::move(request));
    }
}
