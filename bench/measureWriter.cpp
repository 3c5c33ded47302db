// What it costs to write a file of a ranking into a result, with its owner and its group: nine
// lines, each of which is flushed. Beside it the bare system calls for the same lines.
//
// usage: measure_writer

#include <array>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "Common/GenericPrint.h"
#include "Scan/SFile.h"
#include "Scan/UserOrGroup.h"

namespace {

constexpr int kRecords = 100000;
constexpr const char* kFile = "bench-result";

void writeRecords(benchmark::State& state) {
    UserOrGroup owner;
    owner.ugName = "project";
    owner.ugDescription = "Owner of the \"2026\" project";
    UserOrGroup group;
    group.ugName = "staff";
    group.ugType = group.ugUserOrGroupType = UG_GROUP;
    FileAttributes file;
    file.faName = "/mnt/data/projects/2026/november/report, final version.txt";
    file.faLength = 123456789;
    file.faBlocks = 241136;
    file.faModified = file.faAccessed = 1790000000000;
    file.faOwner = &owner;
    file.faGroup = &group;
    const SFile record(file);
    {
        GenericPrint out(GenericPrint::ENTITIES, kFile);
        for ([[maybe_unused]] auto turn : state)
            record.printData(out);
        out.close();
    }
    std::filesystem::remove(kFile);
}

void writeLines(benchmark::State& state) {
    static constexpr std::array<std::size_t, 9> kLengths = {8, 130, 18, 80, 19, 19, 55, 20, 9};
    const std::string text(200, 'x');
    const int fd = open(kFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    for ([[maybe_unused]] auto turn : state) {
        for (const std::size_t length : kLengths) {
            if (write(fd, text.data(), length) < 0)
                state.SkipWithError("write");
        }
    }
    close(fd);
    std::filesystem::remove(kFile);
}

}  // namespace

BENCHMARK(writeRecords)->Iterations(kRecords)->Unit(benchmark::kMicrosecond);
BENCHMARK(writeLines)->Iterations(kRecords)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
