#include "support/HangingMount.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

HangingMount::HangingMount(std::string mountPoint, int files)
    : directory(std::move(mountPoint)) {
    if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    std::string texts[] = {SCAN_FUSE_SERVER, directory, std::to_string(files)};
    char* const arguments[] = {texts[0].data(), texts[1].data(), texts[2].data(), nullptr};
    posix_spawn(&server, arguments[0], &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(std::exchange(out[1], -1));  // so that its end shows
    awaitOk();
}

HangingMount::~HangingMount() {
    kill(server, SIGKILL);  // all that it holds fails
    waitpid(server, nullptr, 0);
    umount2(directory.c_str(), MNT_DETACH);
    for (const int fd : {in[0], in[1], out[0]})
        close(fd);
}

void HangingMount::tell(const std::string& command) const {
    static_cast<void>(write(in[1], (command + "\n").data(), command.size() + 1));
    awaitOk();
}

void HangingMount::awaitOk() const {
    std::array<char, 3> ok{};
    if (read(out[0], ok.data(), ok.size()) != static_cast<ssize_t>(ok.size()))
        throw std::runtime_error("the file server is gone");
}
