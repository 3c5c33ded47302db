#include "Probe/guardedFiles.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

#include "common/unx/statTap.h"
#include "common/unx/systemCalls.h"
#include "common/unx/virtstat.h"
#include "common/ut/TraceScope.h"

namespace {

template <class Pointer>
long argument(Pointer* pointer) {
    return reinterpret_cast<long>(pointer);
}

/// Calls on one path, made by a helper thread or by the caller's.
class FileWork : public GuardedWork {
public:
    explicit FileWork(std::string where) : path(std::move(where)) {}

    int run(StatContext& helper) override {
        context = &helper;
        error = perform();
        return error;
    }
    [[nodiscard]] const char* name() const override { return path.c_str(); }

    /// Has the work done: 0 or an errno value. After a time-out it is not to be looked at.
    template <class Work>
    [[nodiscard]] static int make(const std::shared_ptr<Work>& work, int timeout) {
        TraceScope scope("FileWork::make");
        if (timeout <= 0)
            return work->perform();
        int failure = 0;
        const int rc = guardedCall(work, std::chrono::seconds(timeout), failure);
        return rc == 0 ? work->error : failure;
    }

    /// Makes the calls: 0 or an errno value. On the helper thread it can be cancelled in a
    /// call: no scope objects, nothing that allocates.
    [[nodiscard]] virtual int perform() = 0;

protected:
    /// As syscall(2).
    [[nodiscard]] long call(long number, long first, long second, long third, long fourth) {
        return uninterrupted([&] {
            return context ? StatContext::cancellable(number, first, second, third, fourth, 0)
                           : syscall(number, first, second, third, fourth);
        });
    }

    /// Begins the time of the next call; false if nobody waits for it.
    [[nodiscard]] bool goOn() {
        return !context || context->publish(monotonicNanoseconds(), [] {});
    }

    const std::string path;

private:
    StatContext* context = nullptr;  // not owned; null on the caller's thread
    int error = 0;
};

class OpenWork : public FileWork {
public:
    OpenWork(const std::string& where, int openFlags) : FileWork(where), flags(openFlags) {}

    int perform() override {
        // Meant: not to be cancelled, for the descriptor would be lost. It goes with the work.
        file->reset(openFile(path.c_str(), flags));
        return *file ? 0 : errno;
    }

    const std::shared_ptr<UniqueFd> file = std::make_shared<UniqueFd>();

private:
    const int flags;
};

class ReadWork : public FileWork {
public:
    static constexpr std::size_t kMost = 4096;

    ReadWork(const std::string& where, SharedFile from, std::size_t number)
        : FileWork(where), file(std::move(from)), size(std::min(number, kMost)) {}

    int perform() override {
        while (length < size) {
            const long bytes = call(SYS_read, file->get(), argument(&buffer[length]),
                                    static_cast<long>(size - length), 0);
            if (bytes < 0)
                return errno;
            length += static_cast<std::size_t>(bytes);
            if (bytes == 0 || !goOn())
                break;
        }
        return 0;
    }

    [[nodiscard]] std::string bytesRead() const { return {buffer.data(), length}; }

private:
    const SharedFile file;
    const std::size_t size;
    std::size_t length = 0;
    std::array<char, kMost> buffer;
};

class FirstDirectoryWork : public FileWork {
public:
    FirstDirectoryWork(const std::string& where, SharedFile directory)
        : FileWork(where), file(std::move(directory)) {}

    int perform() override {
        for (;;) {
            const long bytes = call(SYS_getdents64, file->get(), argument(buffer.data()),
                                    static_cast<long>(buffer.size()), 0);
            if (bytes <= 0)
                return bytes < 0 ? errno : 0;
            for (long at = 0; at < bytes && found == nullptr && goOn();) {
                const auto* const record =
                    reinterpret_cast<const dirent64*>(&buffer[static_cast<std::size_t>(at)]);
                at += record->d_reclen;
                const int failure = look(record->d_name);
                if (failure != 0)
                    return failure;
            }
            if (found || !goOn())
                return 0;
        }
    }

    [[nodiscard]] std::string directoryName() const { return found ? found : ""; }

private:
    /// Takes the name if it is that of a directory.
    int look(const char* entryName) {
        if (entryName[0] == '.')
            return 0;
        if (call(SYS_newfstatat, file->get(), argument(entryName), argument(&status),
                 AT_SYMLINK_NOFOLLOW) != 0)
            return errno;
        if (S_ISDIR(status.st_mode))
            found = entryName;
        return 0;
    }

    const SharedFile file;
    const char* found = nullptr;  // in the buffer
    struct stat status;
    alignas(8) std::array<char, 8192> buffer;  // records of getdents64
};

}  // namespace

int openFileInTime(const std::string& path, int flags, int timeout, SharedFile& file) {
    TraceScope scope("openFileInTime");
    const auto work = std::make_shared<OpenWork>(path, flags);
    const int error = FileWork::make(work, timeout);
    if (error == 0)
        file = work->file;
    return error;
}

int readFileInTime(const SharedFile& file, const std::string& path, std::size_t size,
                   int timeout, std::string& bytes) {
    TraceScope scope("readFileInTime");
    const auto work = std::make_shared<ReadWork>(path, file, size);
    const int error = FileWork::make(work, timeout);
    if (error == 0)
        bytes = work->bytesRead();
    return error;
}

int firstDirectoryInTime(const SharedFile& directory, const std::string& path, int timeout,
                         std::string& name) {
    TraceScope scope("firstDirectoryInTime");
    const auto work = std::make_shared<FirstDirectoryWork>(path, directory);
    const int error = FileWork::make(work, timeout);
    if (error == 0)
        name = work->directoryName();
    return error;
}
