#include "Measure.h"

#include <cstdio>
#include <map>
#include <utility>
#include <vector>

namespace orvandel_bench {

namespace {

// Every comparison the table reports, with its target ratio.
const Comparison kComparisons[] = {
    {"insert all", "insert", "map_build", 0},
    {"lookup + read", "lookup", "map_find", 1.3},
    {"enumerate all by index", "enumerate_all", "map_walk", 2.0},
    {"enumerate one branch by index", "enumerate_branch", "map_walk_branch", 2.0},
    {"binary serialise", "binary_serialize", "map_walk_memcpy", 1.5},
    {"binary read", "binary_read", "map_build_sorted", 1.5},
    {"XML serialise", "xml_serialize", "xerces_build_serialize", 1.2},
    {"XML read", "xml_read", "xerces_parse_walk", 1.2},
    {"C lookup + get", "c_lookup_get", "lookup", 1.2},
    {"C lookup + set", "c_lookup_set", "lookup_set", 1.2},
};

// Collects ns per setting by (operation, N) and prints the console lines as usual.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration) {
                continue;
            }
            const auto settings = run.counters.find("settings");
            if (settings == run.counters.end() || settings->second.value <= 0) {
                continue;
            }
            const std::string name = run.run_name.function_name;
            const size_t n = static_cast<size_t>(std::stoull(run.run_name.args));
            const double seconds =
                run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
            d_nsPerSetting[{name, n}] = seconds * 1e9 / settings->second.value;
        }
    }

    int printTable() const {
        std::printf("\n%-32s %10s %14s %14s %8s %8s\n", "operation", "N", "ns/setting", "floor ns",
                    "ratio", "target");
        int missed = 0;
        for (const Comparison& comparison : kComparisons) {
            for (const auto& entry : d_nsPerSetting) {
                if (entry.first.first != comparison.operation) {
                    continue;
                }
                const size_t n = entry.first.second;
                const auto floor = d_nsPerSetting.find({comparison.floor, n});
                if (floor == d_nsPerSetting.end()) {
                    continue;
                }
                const double ratio = entry.second / floor->second;
                const bool judged = comparison.target > 0 && n >= 100000;
                const bool met = !judged || ratio <= comparison.target;
                missed += met ? 0 : 1;
                char target[16] = "-";
                if (comparison.target > 0) {
                    std::snprintf(target, sizeof target, "%.1f", comparison.target);
                }
                std::printf("%-32s %10zu %14.1f %14.1f %8.2f %8s%s\n", comparison.label, n,
                            entry.second, floor->second, ratio, target, met ? "" : "  MISSED");
            }
        }
        for (const auto& entry : d_nsPerSetting) {
            if (entry.first.first.rfind("shape_", 0) == 0) {
                std::printf("%-32s %10zu %14.1f\n", entry.first.first.c_str(), entry.first.second,
                            entry.second);
            }
        }
        std::printf("\n%d target(s) missed\n", missed);
        return 0;
    }

  private:
    std::map<std::pair<std::string, size_t>, double> d_nsPerSetting;
};

}  // namespace

void applySizes(benchmark::internal::Benchmark* benchmark) {
    for (const int n : {1000, 100000, 1000000}) {
        benchmark->Arg(n);
    }
}

void countSettings(benchmark::State& state, size_t settings) {
    state.counters["settings"] = benchmark::Counter(static_cast<double>(settings));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * settings));
}

int runAndReport(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return reporter.printTable();
}

}  // namespace orvandel_bench
