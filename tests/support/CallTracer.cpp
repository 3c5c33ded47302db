#include "support/CallTracer.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

void CallTracer::beTraced() {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
}

namespace {

/// Text at an address of another process.
std::string textAt(pid_t id, unsigned long long address) {
    std::array<char, PATH_MAX> text{};
    const std::size_t first = 4096 - address % 4096;  // the page after it may not be there
    const iovec to{text.data(), text.size() - 1};
    const iovec from[] = {
        {reinterpret_cast<void*>(address),         first   },
        {reinterpret_cast<void*>(address + first), PATH_MAX}
    };
    return process_vm_readv(id, &to, 1, from, 2, 0) > 0 ? text.data() : "";
}

bool canBeInterrupted(long call) {
    return call == SYS_openat || call == SYS_read || call == SYS_write || call == SYS_pread64 ||
           call == SYS_pwrite64 || call == SYS_wait4 || call == SYS_fcntl ||
           call == SYS_flock || call == SYS_poll || call == SYS_ppoll || call == SYS_ftruncate;
}

bool isTransfer(long call) {
    return call == SYS_read || call == SYS_write || call == SYS_pread64 || call == SYS_pwrite64;
}

}  // namespace

#ifdef __x86_64__

void CallTracer::follow(pid_t program) {
    constexpr long kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL;
    leader = program;
    siginfo_t event{};
    while (waitid(P_ALL, 0, &event, WEXITED | WSTOPPED | WNOWAIT | __WALL) == 0) {
        const pid_t id = event.si_pid;
        const bool ended = event.si_code == CLD_EXITED || event.si_code == CLD_KILLED ||
                           event.si_code == CLD_DUMPED;
        if (ended && id == program)
            return;
        int status = 0;
        waitpid(id, &status, __WALL);
        if (ended) {
            threads.erase(id);
            continue;
        }
        const bool isNew = !threads.contains(id);
        Thread& thread = threads[id];
        if (isNew)
            ptrace(PTRACE_SETOPTIONS, id, nullptr, kOptions);
        int signalNumber = WSTOPSIG(status);
        if (signalNumber == (SIGTRAP | 0x80)) {
            __ptrace_syscall_info info{};
            ptrace(PTRACE_GET_SYSCALL_INFO, id, sizeof info, &info);
            if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
                enter(id, thread, static_cast<long>(info.entry.nr),
                      reinterpret_cast<const unsigned long long*>(info.entry.args));
            } else if (info.op == PTRACE_SYSCALL_INFO_EXIT && thread.replaced) {
                thread.replaced = false;
                ptrace(PTRACE_POKEUSER, id, offsetof(user, regs.rax),
                       -static_cast<long>(thread.error));
            }
            signalNumber = 0;
        } else if (signalNumber == SIGTRAP || (isNew && signalNumber == SIGSTOP)) {
            signalNumber = 0;  // of the tracing itself
        }
        ptrace(PTRACE_SYSCALL, id, nullptr, signalNumber);
    }
}

/// The system sees no call, or for close() the true one, and the program that it failed.
void CallTracer::replace(pid_t id, Thread& thread, long call, int error) {
    thread.replaced = true;
    thread.error = error;
    struck = true;
    if (call != SYS_close)
        ptrace(PTRACE_POKEUSER, id, offsetof(user, regs.orig_rax), -1L);
}

bool CallTracer::meets(long call) {
    if (fault.call != -1 && call != fault.call)
        return false;
    ++met;
    return fault.kind == Fault::FailOn ? met >= fault.at : met == fault.at;
}

void CallTracer::enter(pid_t id, Thread& thread, long call,
                       const unsigned long long* arguments) {
    begun = begun || call == SYS_umask;
    if (!begun)
        return;
    const std::string path = pathOf(id, call, arguments);
    notePath(call, path, arguments[2]);
    // Until the program opens a file of its own the C library reads locales, and does not
    // survive if no read succeeds.
    if (!opened && call == SYS_read)
        return;
    // Of its commands only those that lock can fail or be interrupted.
    if (call == SYS_fcntl && arguments[1] != F_SETLK && arguments[1] != F_SETLKW)
        return;
    ++calls[call];
    const bool before = struck;
    switch (fault.kind) {
        case Fault::Fail:
        case Fault::FailOn:
            if (meets(call))
                replace(id, thread, call, fault.error);
            break;
        case Fault::Kill:
            if (meets(call)) {
                struck = true;
                kill(leader, SIGKILL);
            }
            break;
        case Fault::Interrupt:
            if (!canBeInterrupted(call) || (fault.call != -1 && call != fault.call))
                break;
            if (thread.interrupted[call]++ < fault.at)
                replace(id, thread, call, EINTR);
            else
                thread.interrupted[call] = 0;
            break;
        case Fault::Shorten:
            if (isTransfer(call) && arguments[2] > 7) {
                struck = true;
                ptrace(PTRACE_POKEUSER, id, offsetof(user, regs.rdx), 1UL + transfers++ % 7);
            }
            break;
        case Fault::None:
            break;
    }
    if (struck && !before)
        where = path;
}

/// The file that a call names, or that its descriptor stands for.
std::string CallTracer::pathOf(pid_t id, long call, const unsigned long long* arguments) {
    const bool at = call == SYS_openat || call == SYS_mkdirat || call == SYS_unlinkat ||
                    call == SYS_newfstatat || call == SYS_statx;
    const bool named = at || call == SYS_open || call == SYS_mkdir || call == SYS_unlink ||
                       call == SYS_rename || call == SYS_access;
    const std::string name = named ? textAt(id, arguments[at ? 1 : 0]) : "";
    if (name.starts_with('/'))
        return name;
    const auto directory = named && !at ? AT_FDCWD : static_cast<int>(arguments[0]);
    const std::string link =
        "/proc/" + std::to_string(id) +
        (directory == AT_FDCWD ? "/cwd" : "/fd/" + std::to_string(directory));
    std::array<char, PATH_MAX> base{};
    static_cast<void>(!readlink(link.c_str(), base.data(), base.size() - 1));
    return base.data() + (name.empty() ? "" : "/" + name);
}

/// Keeps what is changed where the program has no business.
void CallTracer::notePath(long call, const std::string& path, unsigned long long flags) {
    constexpr unsigned long long kWrites = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;
    const bool inside = path.starts_with(allowed + "/");
    const bool changes = call == SYS_openat ? (flags & kWrites) != 0
                                            : call == SYS_mkdir || call == SYS_unlink ||
                                                  call == SYS_unlinkat || call == SYS_rename;
    const bool above = call == SYS_mkdir && allowed.starts_with(path);  // it is there
    opened = opened || (inside && call == SYS_openat);
    if (changes && !inside && !above && path != "/dev/null")
        strays += " " + path;
}

#else

void CallTracer::follow(pid_t) {}

#endif
