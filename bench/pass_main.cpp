// bench_pass [--frames=N] [options of Google Benchmark]: the library's frame pass and its parts.
#include <cstdlib>
#include <cstring>

#include "bench/report.h"

namespace {

constexpr int kFrames = 20000;

// Takes --frames=N out of the arguments.
int frames_wanted(std::vector<char*>& args) {
    constexpr char kOption[] = "--frames=";
    constexpr size_t kLength = sizeof(kOption) - 1;
    int frames = kFrames;
    for (auto arg = args.begin(); arg != args.end();) {
        if (std::strncmp(*arg, kOption, kLength) == 0) {
            frames = std::max(std::atoi(*arg + kLength), 1);
            arg = args.erase(arg);
        } else {
            ++arg;
        }
    }
    return frames;
}

}  // namespace

int main(int argc, char** argv) {
    char repetitions[] = "--benchmark_repetitions=3";
    std::vector<char*> args(argv, argv + argc);
    args.insert(args.begin() + 1, repetitions);
    const int frames = frames_wanted(args);
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
    bench::register_passes(frames);
    bench::register_parts(frames);
    bench::TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
