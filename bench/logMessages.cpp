// What a message costs, from its number to its line in the activity log, and the same
// without the log. The log grows over the whole run, as that of a long job does.
//
// usage: bench/messages

#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

#include "Common/LogManager.h"
#include "Common/unix/psmsgutil.h"
#include "common/nls/nls.h"

namespace {

constexpr int kMessages = 1000000;

void logOneMessage(benchmark::State& state) {
    const std::filesystem::path directory = std::filesystem::current_path() / "bench-log";
    std::filesystem::create_directories(directory);
    {
        LogManager manager((directory / "log").string());
        for ([[maybe_unused]] auto turn : state)
            manager.logMsg(message::STA0063E.number, message::STA0063E.identifier,
                           {"/mnt/data/projects/2026/report.txt - Permission denied"});
    }
    std::filesystem::remove_all(directory);
}

/// `range(0)` different messages in turn: more than are kept decoded cost a decoding each.
void makeOneText(benchmark::State& state) {
    const int numbers[] = {363, 394, 395, 396, 397, 398, 399, 403, 421, 301, 325, 326, 327};
    LogManager manager("");
    std::string text;
    std::size_t turn = 0;
    for ([[maybe_unused]] auto ignored : state) {
        const int number = numbers[turn++ % static_cast<std::size_t>(state.range(0))];
        manager.getMsg(text, number, "STA0063E", {"/mnt/data/projects/2026/report.txt"});
        benchmark::DoNotOptimize(text);
    }
}

}  // namespace

BENCHMARK(logOneMessage)->Iterations(kMessages)->Unit(benchmark::kMicrosecond);
BENCHMARK(makeOneText)->Arg(1)->Arg(10)->Arg(13)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    if (setupMessages("cvnna.cat", "cvnna.cat", "", SCAN_NLS_DIR) != 0)
        return 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    nlClose();
    return 0;
}
