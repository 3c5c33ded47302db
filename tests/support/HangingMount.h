#pragma once

#include <array>
#include <csignal>
#include <string>
#include <sys/types.h>

/// A mounted file system whose server hangs on demand: fuseServer.cpp says what it holds and
/// what it can be told. Needs root. Whatever hangs in it comes back when the object goes.
class HangingMount {
public:
    HangingMount(std::string mountPoint, int files);
    ~HangingMount();
    HangingMount(const HangingMount&) = delete;
    HangingMount& operator=(const HangingMount&) = delete;

    /// Has the server obey a command with its argument.
    void tell(const std::string& command) const;

    /// The server reads no request any more, until goOn().
    void stop() const { kill(server, SIGSTOP); }
    void goOn() const { kill(server, SIGCONT); }

private:
    void awaitOk() const;

    const std::string directory;
    pid_t server = -1;
    std::array<int, 2> in{};  // pipes, of the server's standard input and output
    std::array<int, 2> out{};
};
