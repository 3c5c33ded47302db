/// One thing after another fails under a small job, and what it promises must hold. Each test
/// tries as many of its situations as fit in FAULT_SECONDS, in an order that FAULT_SEED draws.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <random>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "e2e/FaultJob.h"

namespace {

using Clock = std::chrono::steady_clock;

/// How the calls that a job makes can fail. EINTR is no failure: it is to be repeated.
struct CallRow {
    long number;
    const char* name;
    std::vector<int> errors;
};
const std::vector<CallRow> kCalls = {
    {SYS_openat,            "openat",            {EACCES, EIO, EMFILE, EINTR}},
    {SYS_read,              "read",              {EIO, EINTR}                },
    {SYS_pread64,           "pread",             {EIO}                       },
    {SYS_write,             "write",             {EIO, ENOSPC, EINTR}        },
    {SYS_pwrite64,          "pwrite",            {ENOSPC}                    },
    {SYS_getdents64,        "getdents64",        {EIO, ESTALE}               },
    {SYS_newfstatat,        "fstatat",           {EIO, EACCES, ENOMEM}       },
    {SYS_fstat,             "fstat",             {EIO}                       },
    {SYS_statx,             "statx",             {EIO, ENOSYS, ENOMEM}       },
    {SYS_statfs,            "statfs",            {EIO, ENOMEM}               },
    {SYS_fstatfs,           "fstatfs",           {EIO}                       },
    {SYS_fcntl,             "fcntl",             {ENOLCK, EINTR}             },
    {SYS_flock,             "flock",             {ENOLCK, EWOULDBLOCK, EINTR}},
    {SYS_ftruncate,         "ftruncate",         {EIO, EINTR}                },
    {SYS_lseek,             "lseek",             {EIO}                       },
    {SYS_close,             "close",             {EIO, EINTR}                },
    {SYS_unlink,            "unlink",            {EACCES, EIO}               },
    {SYS_rename,            "rename",            {EIO, ENOSPC}               },
    {SYS_mkdir,             "mkdir",             {EACCES, ENOSPC}            },
    {SYS_access,            "access",            {EIO}                       },
    {SYS_readlink,          "readlink",          {EIO}                       },
    {SYS_getcwd,            "getcwd",            {ENOENT}                    },
    {SYS_pipe2,             "pipe2",             {EMFILE}                    },
    {SYS_clone,             "clone",             {EAGAIN, ENOMEM}            },
    {SYS_clone3,            "clone3",            {EAGAIN, ENOSYS}            },
    {SYS_vfork,             "vfork",             {EAGAIN}                    },
    {SYS_wait4,             "wait4",             {EINTR, ECHILD}             },
    {SYS_mmap,              "mmap",              {ENOMEM}                    },
    {SYS_socket,            "socket",            {EMFILE}                    },
    {SYS_kill,              "kill",              {EPERM}                     },
    {SYS_setpgid,           "setpgid",           {EPERM}                     },
    {SYS_prlimit64,         "prlimit",           {EPERM}                     },
    {SYS_sched_setaffinity, "sched_setaffinity", {EPERM}                     },
    {SYS_poll,              "poll",              {EINTR, ENOMEM}             },
    {SYS_ppoll,             "ppoll",             {EINTR, ENOMEM}             },
};

class FaultTest : public testing::Test {
protected:
    void SetUp() override {
        SKIP_UNLESS_ROOT_CAN_MOUNT();
        if (SCAN_SANITIZED || !CallTracer::possible)
            GTEST_SKIP() << "needs x86-64, and no sanitizer beside it";
        job = std::make_unique<FaultJob>();
    }

    /// Adds `count` situations of a kind, numbered from 1.
    template <class Make>
    void add(const std::string& kind, int count, const Make& make) {
        for (int at = 1; at <= count; ++at)
            tries.push_back({kind, at, make(at), 0});
    }

    /// Tries what there is time for, each kind in its turn, and reports what is broken.
    void tryAll() {
        std::shuffle(tries.begin(), tries.end(),
                     std::mt19937(static_cast<unsigned>(setting("FAULT_SEED", 1))));
        std::map<std::string, int> turns;
        for (Try& each : tries)
            each.turn = turns[each.kind]++;
        std::stable_sort(tries.begin(), tries.end(),
                         [](const Try& a, const Try& b) { return a.turn < b.turn; });
        const Clock::time_point begin = Clock::now();
        const std::chrono::seconds most(setting("FAULT_SECONDS", 3));
        std::size_t done = 0;
        std::size_t broken = 0;
        for (const Try& each : tries) {
            if (Clock::now() - begin > most)
                break;
            const std::string departures = job->broken(each.situation);
            EXPECT_EQ("", departures) << FaultJob::kModes[each.situation.mode].name << ": "
                                      << each.kind << " " << each.number;
            ++done;
            broken += departures.empty() ? 0 : 1;
        }
        std::cout << done << " of " << tries.size() << " situations, " << broken << " broken, "
                  << std::chrono::duration<double>(Clock::now() - begin).count() << " s\n";
        EXPECT_LT(0U, done);
    }

    /// How many of each system call the job makes in a mode.
    std::map<long, int> callsOf(std::size_t mode) {
        EXPECT_EQ("", job->broken({.mode = mode}));
        return job->calls;
    }

    /// Every call of the table that a mode makes, with each error that `fits`.
    template <class Fits>
    void addCalls(Fault::Kind kind, const std::string& what, const Fits& fits) {
        const char* const only = std::getenv("FAULT_CALL");
        for (std::size_t mode = 0; mode < FaultJob::kModes.size(); ++mode) {
            std::map<long, int> calls = callsOf(mode);
            for (const CallRow& row : kCalls) {
                for (const int error : row.errors) {
                    if ((only && row.name != std::string(only)) || !fits(error))
                        continue;
                    add(row.name + what + std::strerror(error), calls[row.number], [&](int at) {
                        return Situation{
                            .mode = mode,
                            .fault = {kind, row.number, at, error},
                            .notTold = kind == Fault::FailOn
                        };
                    });
                }
            }
        }
    }

    /// Has allocations fail in the process to be.
    static void shortOfMemory(int at, bool lasts, const char* threads) {
        setenv("LD_PRELOAD", SCAN_FAULTS, 1);
        setenv("FAULT_ALLOCATION", std::to_string(at).c_str(), 1);
        setenv("FAULT_LASTS", lasts ? "1" : "0", 1);
        setenv("FAULT_THREADS", threads, 1);
    }

    /// How many allocations the job makes in a mode.
    int allocationsOf(std::size_t mode, const char* threads) {
        const TempTree shared;
        shared.write("count", std::string(8, '\0'));
        const auto inChild = [&] {
            shortOfMemory(0, false, threads);
            setenv("FAULT_COUNT", shared.path("count").c_str(), 1);
        };
        EXPECT_EQ("", job->broken({.mode = mode, .inChild = inChild, .traced = false}));
        unsigned long count = 0;
        std::memcpy(&count, shared.read("count").data(), sizeof count);
        // On a busy host the scan thread can have done all before a helper begins.
        EXPECT_TRUE(count > 0 || *threads == 'h') << FaultJob::kModes[mode].name;
        return static_cast<int>(count);
    }

    void tryAllocations(bool lasts) {
        for (std::size_t mode = 0; mode < FaultJob::kModes.size(); ++mode) {
            for (const char* const threads : {"main", "helpers"}) {
                if (mode == 0 && *threads == 'h')
                    continue;
                add(std::string("allocation, ") + threads, allocationsOf(mode, threads),
                    [&](int at) {
                        return Situation{.mode = mode,
                                         .inChild = [=] { shortOfMemory(at, lasts, threads); },
                                         .traced = false};
                    });
            }
        }
        tryAll();
    }

    struct Try {
        std::string kind;
        int number;
        Situation situation;
        int turn;
    };
    std::vector<Try> tries;
    std::unique_ptr<FaultJob> job;
};

TEST_F(FaultTest, OneAllocationFails) {
    tryAllocations(false);
}

TEST_F(FaultTest, MemoryIsShortFromSomePointOn) {
    tryAllocations(true);
}

TEST_F(FaultTest, OneCallFails) {
    addCalls(Fault::Fail, ": ", [](int) { return true; });
    tryAll();
}

TEST_F(FaultTest, CallsFailFromSomePointOn) {
    addCalls(Fault::FailOn, " from now on: ", [](int error) { return error != EINTR; });
    tryAll();
}

TEST_F(FaultTest, CallsAreInterruptedOrTransferLittle) {
    static constexpr int kTimes[] = {1, 3, 20};
    for (std::size_t mode = 0; mode < FaultJob::kModes.size(); ++mode) {
        add("short transfers", 1,
            [&](int) { return Situation{.mode = mode, .fault = {.kind = Fault::Shorten}}; });
        for (const CallRow& row : kCalls) {
            if (std::find(row.errors.begin(), row.errors.end(), EINTR) == row.errors.end())
                continue;
            add(std::string(row.name) + " interrupted", 3, [&](int at) {
                return Situation{
                    .mode = mode, .fault = {Fault::Interrupt, row.number, kTimes[at - 1], 0}
                };
            });
        }
    }
    tryAll();
}

TEST_F(FaultTest, TheJobIsKilledAtAnyCall) {
    for (std::size_t mode = 0; mode < FaultJob::kModes.size(); ++mode) {
        std::map<long, int> calls = callsOf(mode);
        for (const auto& [call, count] : calls) {
            add("killed at system call " + std::to_string(call), count,
                [mode, call = call](int at) {
                    return Situation{
                        .mode = mode, .fault = {Fault::Kill, call, at, 0}
                    };
                });
        }
    }
    tryAll();
}

void limit(__rlimit_resource resource, int most) {
    const struct rlimit both { static_cast<rlim_t>(most), static_cast<rlim_t>(most) };
    setrlimit(resource, &both);
}

/// What the process that starts the job can leave it, and in how many ways.
const std::pair<const char*, int> kInheritances[] = {
    {"descriptors",           64  },
    {"stack",                 1   },
    {"open files",            1   },
    {"closed descriptors",    8   },
    {"no environment",        1   },
    {"no place",              1   },
    {"jumping clock",         8   },
    {"address space, MiB/16", 4000},
    {"largest file, blocks",  24  }
};

void inherit(const std::string& what, int at) {
    if (what == "descriptors")
        limit(RLIMIT_NOFILE, 65 - at);
    if (what == "stack")
        limit(RLIMIT_STACK, 256 * 1024);
    if (what == "open files")
        limit(RLIMIT_NOFILE, 4096);
    for (int i = what == "open files" ? 1100 : 0; i > 0; --i)
        static_cast<void>(!open("/dev/null", O_RDONLY));
    for (int fd = 0; fd < 3 && what == "closed descriptors"; ++fd) {
        if (((at - 1) >> fd & 1) != 0)
            close(fd);
    }
    if (what == "no environment")
        clearenv();
    std::string gone = "/tmp/scantestXXXXXX";
    if (what == "no place" &&
        (!mkdtemp(gone.data()) || chdir(gone.c_str()) != 0 || rmdir(gone.c_str()) != 0))
        std::abort();
    if (what == "jumping clock") {
        setenv("LD_PRELOAD", SCAN_FAULTS, 1);
        setenv("FAULT_CLOCK", std::to_string(at * at).c_str(), 1);
    }
    if (what == "address space, MiB/16")
        limit(RLIMIT_AS, at << 16U);
    if (what == "largest file, blocks")
        limit(RLIMIT_FSIZE, at * 512);
}

TEST_F(FaultTest, LittleIsInherited) {
    for (const auto& [what, ways] : kInheritances) {
        for (std::size_t mode = 0; mode < FaultJob::kModes.size(); ++mode) {
            add(what, ways, [mode, name = std::string(what)](int at) {
                return Situation{.mode = mode,
                                 .inChild = [name, at] { inherit(name, at); },
                                 .otherRows = name == "jumping clock"};
            });
        }
    }
    tryAll();
}

TEST_F(FaultTest, WithoutAnyArgumentTheJobEnds) {
    job->run.inChild = [this] {
        char* const none[] = {nullptr};
        execve(job->run.tree.path("bin/scan").c_str(), none, environ);
    };
    job->run.whileRunning = nullptr;
    job->run.startPlain({});
    EXPECT_EQ(72, job->run.exitCode);
}

}  // namespace
