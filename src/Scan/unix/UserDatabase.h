#pragma once

#include <chrono>
#include <cstdint>
#include <grp.h>
#include <memory>
#include <pwd.h>
#include <string>
#include <sys/types.h>

class NameLookup;

/// The host's user database, which may be a directory service that fails or hangs.
///
/// A look-up that fails is made three times within a second. After a number for which all
/// failed each further one is asked for once only, until one is answered: a service that stays
/// down costs a job one second. With a time-out a helper thread makes the look-ups. One that
/// hangs is given up, and as long as it does no other one is made, for it may hold a lock of
/// the library; so at most one such thread is left behind at a time.
///
/// Scan thread only.
class UserDatabase {
public:
    /// What asks the system: like getpwuid(3) and getgrgid(3). And the files that those look
    /// into, see passwd(5) and group(5): where a file cannot be read, a service that is asked
    /// after it makes an unknown number of every local one.
    struct Calls {
        struct passwd* (*user)(uid_t) = getpwuid;
        struct group* (*group)(gid_t) = getgrgid;
        const char* userFile = "/etc/passwd";
        const char* groupFile = "/etc/group";
    };

    struct Answer {
        int error = 0;       // why there is no answer, an errno value
        bool known = false;  // the host knows the number
        std::string name;
        std::string description;  // of a user
    };

    /// `timeout` is in seconds, 0 for none.
    explicit UserDatabase(std::int32_t timeout, const Calls& systemCalls);
    ~UserDatabase();
    UserDatabase(const UserDatabase&) = delete;
    UserDatabase& operator=(const UserDatabase&) = delete;

    [[nodiscard]] Answer ask(std::uint32_t number, bool isGroup);

private:
    [[nodiscard]] Answer askOnce(std::uint32_t number, bool isGroup);
    [[nodiscard]] Answer askInTime(std::uint32_t number, bool isGroup);

    const Calls calls;
    const std::chrono::seconds limit;
    bool isDown = false;                  // the last number had no answer
    std::shared_ptr<NameLookup> hanging;  // the look-up that was given up; null if none was
};
