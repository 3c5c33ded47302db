/// Runs two shell commands in turn and prints their wall times, user and system times and
/// peak memory side by side, with the ratio of each pair of runs.
///
/// usage: run_pairs ROUNDS COMMAND_A COMMAND_B

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
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

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

Run runOnce(const char* command) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        execl("/bin/sh", "sh", "-c", command, nullptr);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) ||
        WEXITSTATUS(status) == 127) {
        std::fprintf(stderr, "cannot run: %s\n", command);
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

void print(const char* name, const std::vector<Run>& runs, double Run::*figure) {
    std::vector<double> values;
    for (const Run& run : runs)
        values.push_back(run.*figure);
    const auto [low, high] = std::minmax_element(values.begin(), values.end());
    std::printf("%-18s %9.2f %9.2f %9.2f\n", name, *low, median(values), *high);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: run_pairs ROUNDS COMMAND_A COMMAND_B\n");
        return 2;
    }
    const long rounds = std::max(1L, std::strtol(argv[1], nullptr, 10));
    static_cast<void>(runOnce(argv[2]));  // both warm
    static_cast<void>(runOnce(argv[3]));
    std::vector<Run> a;
    std::vector<Run> b;
    std::vector<double> ratios;
    for (long i = 0; i < rounds; ++i) {
        a.push_back(runOnce(argv[2]));
        b.push_back(runOnce(argv[3]));
        ratios.push_back(a.back().wall / b.back().wall);
    }
    std::printf("A: %s\nB: %s\n%-18s %9s %9s %9s\n", argv[2], argv[3], "", "min", "median",
                "max");
    print("A wall s", a, &Run::wall);
    print("B wall s", b, &Run::wall);
    print("A user s", a, &Run::user);
    print("B user s", b, &Run::user);
    print("A system s", a, &Run::system);
    print("B system s", b, &Run::system);
    print("A peak MiB", a, &Run::peak);
    print("B peak MiB", b, &Run::peak);
    const auto [low, high] = std::minmax_element(ratios.begin(), ratios.end());
    std::printf("%-18s %9.2f %9.2f %9.2f\n", "wall A/B", *low, median(ratios), *high);
    return 0;
}
