#pragma once

#include <map>
#include <string>
#include <sys/types.h>

/// What a traced program meets in place of the system.
struct Fault {
    enum Kind {
        None,
        Fail,       // the call fails with `error`
        FailOn,     // and all further ones
        Interrupt,  // each call that can be interrupted is, `at` times before it goes through
        Shorten,    // each read and write transfers 1 to 7 bytes
        Kill,       // the program is killed as it makes the call
    };
    Kind kind = None;
    long call = -1;  // number of the system call, -1 for any
    int at = 0;      // which of them, from 1
    int error = 0;
};

/// Follows a program and its threads, not the programs that it starts, through their system
/// calls, counts these, and makes one of them fail. Whatever part of the program or of the C
/// library makes a call, it is met here. It counts from the program's first umask(), which it
/// calls as it begins. For x86-64.
class CallTracer {
public:
    static constexpr bool possible =
#ifdef __x86_64__
        true;
#else
        false;
#endif

    /// `place`: the directory within which alone the program may write.
    CallTracer(const Fault& what, std::string place) : fault(what), allowed(std::move(place)) {}

    /// To be called in the process that becomes the program.
    static void beTraced();

    /// Follows until the program has ended, which is left to be waited for.
    void follow(pid_t program);

    std::map<long, int> calls;  // how many of each were made
    std::string strays;         // what was opened for writing, made or removed elsewhere
    bool struck = false;        // the fault has been met
    std::string where;          // the file of the call that met it, where it has one

private:
    struct Thread {
        std::map<long, int> interrupted;
        bool replaced = false;  // the call that it is in
        int error = 0;
    };

    void enter(pid_t id, Thread& thread, long call, const unsigned long long* arguments);
    void replace(pid_t id, Thread& thread, long call, int error);
    [[nodiscard]] bool meets(long call);
    [[nodiscard]] static std::string pathOf(pid_t id, long call,
                                            const unsigned long long* arguments);
    void notePath(long call, const std::string& path, unsigned long long flags);

    const Fault fault;
    const std::string allowed;
    std::map<pid_t, Thread> threads;
    bool begun = false;
    bool opened = false;  // a file of the program itself
    int met = 0;
    unsigned transfers = 0;
    pid_t leader = -1;
};
