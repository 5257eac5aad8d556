// Registration and reporting shared by every benchmark: each library operation is measured at
// N = 1,000, 100,000 and 1,000,000 settings next to the floor it is compared with, and the ratio
// table at the end divides the two per-setting times of the same run.
#ifndef ORVANDEL_BENCH_MEASURE_H
#define ORVANDEL_BENCH_MEASURE_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>

namespace orvandel_bench {

// The sizes every workload benchmark runs at.
void applySizes(benchmark::internal::Benchmark* benchmark);

// Records that one iteration handled `settings` settings, so the report can give ns per setting.
void countSettings(benchmark::State& state, size_t settings);

// Declares that the library operation `operation` is compared with `floor` against `target`
// (the largest acceptable ratio at N >= judgedFrom; 0 for no target).
struct Comparison {
    const char* label;
    const char* operation;
    const char* floor;
    double target;
    size_t judgedFrom;
};

// Runs every registered benchmark, each in a fresh process of its own, and prints the ratio
// table; returns the process's exit code.
int runAndReport(int argc, char** argv);

}  // namespace orvandel_bench

// A benchmark over the standard sizes, measured in wall-clock time.
#define ORVANDEL_BENCHMARK(function)        \
    BENCHMARK(function)                     \
        ->Apply(orvandel_bench::applySizes) \
        ->UseRealTime()                     \
        ->Unit(benchmark::kMillisecond)

#endif
