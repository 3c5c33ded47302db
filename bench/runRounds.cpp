// Runs several shell commands in turn, and prints what each of them takes beside the first.
//
// usage: run_rounds ROUNDS [--cold] < COMMANDS
//
// A line of COMMANDS is a name, a tab and a command for the shell. With --cold the system
// forgets all names and attributes before each run, which needs root; otherwise every
// command runs once before the rounds begin. Each round begins with another command, so that
// none always follows the same one. The ratio is that of wall times by round, its median: what
// else the machine does hits both sides of it.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Run {
    double wall;    // seconds
    double user;    // seconds
    double system;  // seconds
    double peak;    // MiB
};

struct Command {
    std::string name;
    std::string text;
    std::vector<Run> runs;
};

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

void forgetNames() {
    sync();
    std::ofstream("/proc/sys/vm/drop_caches") << "3\n";
}

Run runOnce(const Command& command) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        execl("/bin/sh", "sh", "-c", command.text.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) ||
        WEXITSTATUS(status) > 1) {
        std::fprintf(stderr, "failed: %s\n", command.text.c_str());
        std::exit(1);
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    return {wall.count(), seconds(usage.ru_utime), seconds(usage.ru_stime),
            static_cast<double>(usage.ru_maxrss) / 1024};
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double medianOf(const Command& command, double Run::*figure) {
    std::vector<double> values;
    for (const Run& run : command.runs)
        values.push_back(run.*figure);
    return median(values);
}

double ratioTo(const Command& reference, const Command& command) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < command.runs.size(); ++i)
        ratios.push_back(command.runs[i].wall / reference.runs[i].wall);
    return median(ratios);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: run_rounds ROUNDS [--cold] < COMMANDS\n");
        return 2;
    }
    const long rounds = std::max(1L, std::strtol(argv[1], nullptr, 10));
    const bool cold = argc > 2 && argv[2] == std::string("--cold");
    std::vector<Command> commands;
    for (std::string line; std::getline(std::cin, line);) {
        const std::size_t tab = line.find('\t');
        if (tab != std::string::npos)
            commands.push_back({line.substr(0, tab), line.substr(tab + 1), {}});
    }
    for (long round = cold ? 0 : -1; round < rounds; ++round) {
        for (std::size_t i = 0; i < commands.size(); ++i) {
            Command& command =
                commands[(i + static_cast<std::size_t>(round + 1)) % commands.size()];
            if (cold)
                forgetNames();
            const Run run = runOnce(command);
            if (round >= 0)
                command.runs.push_back(run);
        }
    }
    std::printf("%-28s %7s %8s %8s %8s %9s\n", "", "ratio", "wall s", "user s", "system s",
                "peak MiB");
    for (const Command& command : commands)
        std::printf("%-28s %7.2f %8.2f %8.2f %8.2f %9.1f\n", command.name.c_str(),
                    ratioTo(commands.front(), command), medianOf(command, &Run::wall),
                    medianOf(command, &Run::user), medianOf(command, &Run::system),
                    medianOf(command, &Run::peak));
    return 0;
}
