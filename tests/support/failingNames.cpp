/// A user database that fails, to be loaded before a program: getpwuid(3) and getgrgid(3) fail
/// with the errno value in FAILING_NAMES, or hang if that is "hang".

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace {

void fail() {
    const char* const how = std::getenv("FAILING_NAMES");
    while (how && std::strcmp(how, "hang") == 0)
        pause();
    errno = how ? std::atoi(how) : 0;
}

}  // namespace

extern "C" struct passwd* getpwuid(uid_t /*number*/) {
    fail();
    return nullptr;
}

extern "C" struct group* getgrgid(gid_t /*number*/) {
    fail();
    return nullptr;
}
