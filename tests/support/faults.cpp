/// A library to be preloaded (LD_PRELOAD) into the program, which then runs short of memory or
/// has a clock that jumps. System calls that fail are made by CallTracer. It is told by the
/// environment:
///
///     FAULT_ALLOCATION=N      allocation N fails, counted from 1
///     FAULT_LASTS=1           and so do all after it
///     FAULT_THREADS=main      only allocations of the main thread count; "helpers": of others
///     FAULT_COUNT=FILE        allocations are counted in this file, 8 bytes as they are in
///                             memory, which must be there
///     FAULT_CLOCK=N           every N calls the time of day jumps to another year
///
/// Look-ups of owners and groups get what they ask for: the C library ends a process that lacks
/// memory for them. Nothing happens before the program's first umask(), which it calls as it
/// begins, nor in the programs that it starts. The library itself allocates nothing.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t);                 // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t, std::size_t);    // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void*, std::size_t);         // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(std::size_t, std::size_t);  // NOLINT(bugprone-reserved-identifier)
}

namespace {

using Counter = std::atomic<unsigned long>;
static_assert(Counter::is_always_lock_free && sizeof(Counter) == 8);

enum class Threads { All, Main, Helpers };

Counter ownCounter{0};
Counter* counter = &ownCounter;
Counter clockCalls{0};
std::atomic<bool> begun{false};
unsigned long failing = 0;
unsigned long clockStep = 0;
bool lasts = false;
Threads threads = Threads::All;
[[gnu::tls_model("initial-exec")]] thread_local bool looksUp = false;

unsigned long number(const char* name) {
    const char* const value = std::getenv(name);
    return value ? std::strtoul(value, nullptr, 10) : 0;
}

void begin() {
    if (std::strcmp(program_invocation_short_name, "scan") != 0)
        return;
    failing = number("FAULT_ALLOCATION");
    lasts = number("FAULT_LASTS") != 0;
    clockStep = number("FAULT_CLOCK");
    const char* const which = std::getenv("FAULT_THREADS");
    if (which)
        threads = *which == 'm' ? Threads::Main : Threads::Helpers;
    const char* const file = std::getenv("FAULT_COUNT");
    const int fd = file ? open(file, O_RDWR | O_CLOEXEC) : -1;
    if (fd >= 0) {
        void* const shared =
            mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        if (shared != MAP_FAILED)
            counter = static_cast<Counter*>(shared);
        close(fd);
    }
    begun = true;
}

bool fails() {
    if (!begun || looksUp)
        return false;
    const bool isMain = threads == Threads::All || syscall(SYS_gettid) == syscall(SYS_getpid);
    if (isMain == (threads == Threads::Helpers))
        return false;
    const unsigned long now = ++*counter;
    if (failing == 0 || (lasts ? now < failing : now != failing))
        return false;
    errno = ENOMEM;
    return true;
}

/// The answer of the C library's own function of that name.
template <class Record>
Record* lookUp(const char* function, unsigned key) {
    looksUp = true;
    const auto real = reinterpret_cast<Record* (*)(unsigned)>(dlsym(RTLD_NEXT, function));
    Record* const answer = real(key);
    looksUp = false;
    return answer;
}

/// Seconds to be added to the time of day: jumps of years, forwards and back.
time_t jump() {
    static constexpr time_t kJumps[] = {0, 40000000, -40000000, 400000000, -4000000000};
    return begun && clockStep > 0 ? kJumps[clockCalls++ / clockStep % 5] : 0;
}

}  // namespace

extern "C" {

mode_t umask(mode_t mask) noexcept {
    if (!begun)
        begin();
    return static_cast<mode_t>(syscall(SYS_umask, mask));
}

void* malloc(std::size_t size) noexcept {
    return fails() ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    return fails() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) noexcept {
    return fails() ? nullptr : __libc_realloc(block, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return fails() ? nullptr : __libc_memalign(alignment, size);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
    if (fails())
        return ENOMEM;
    *block = __libc_memalign(alignment, size);
    return *block ? 0 : ENOMEM;
}

struct passwd* getpwuid(uid_t key) {
    return lookUp<struct passwd>("getpwuid", key);
}
struct group* getgrgid(gid_t key) {
    return lookUp<struct group>("getgrgid", key);
}

int clock_gettime(clockid_t clock, struct timespec* now) noexcept {
    const auto rc = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    if (rc == 0 && clock == CLOCK_REALTIME)
        now->tv_sec += jump();
    return rc;
}
int gettimeofday(struct timeval* now, void* zone) noexcept {
    const auto rc = static_cast<int>(syscall(SYS_gettimeofday, now, zone));
    if (rc == 0)
        now->tv_sec += jump();
    return rc;
}
time_t time(time_t* result) noexcept {
    struct timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result)
        *result = now.tv_sec;
    return now.tv_sec;
}

}  // extern "C"
