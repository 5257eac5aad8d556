#include "Measure.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace orvandel_bench {

namespace {

// Every comparison the table reports, with its target ratio and the smallest N it is judged at
// (small workloads fit in the caches and are reported for information).
const Comparison kComparisons[] = {
    {"insert all", "insert", "map_build", 0, 0},
    {"lookup + read", "lookup", "map_find", 1.3, 100000},
    {"enumerate all by index", "enumerate_all", "map_walk", 2.0, 1000000},
    {"enumerate one branch by index", "enumerate_branch", "map_walk_branch", 0, 0},
    {"binary serialise", "binary_serialize", "map_walk_memcpy", 1.5, 100000},
    {"binary read", "binary_read", "map_build_sorted", 1.5, 100000},
    {"XML serialise", "xml_serialize", "xerces_build_serialize", 1.2, 100000},
    {"XML read", "xml_read", "xerces_parse_walk", 1.2, 100000},
    {"C lookup + get", "c_lookup_get", "lookup", 1.2, 100000},
    {"C lookup + set", "c_lookup_set", "lookup_set", 1.2, 100000},
};

// In a child run: prints the console lines as usual, then one line per measured benchmark that the
// parent reads back: "ORVANDEL-RESULT <operation> <N> <ns per setting>".
class ChildReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            // With repetitions, the median of them; otherwise the one run.
            const bool chosen = run.repetitions > 1 ? run.run_type == Run::RT_Aggregate &&
                                                          run.aggregate_name == "median"
                                                    : run.run_type == Run::RT_Iteration;
            const auto settings = run.counters.find("settings");
            if (run.error_occurred || !chosen || settings == run.counters.end() ||
                settings->second.value <= 0) {
                continue;
            }
            const double seconds =
                run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
            std::printf("ORVANDEL-RESULT %s %s %.3f\n", run.run_name.function_name.c_str(),
                        run.run_name.args.c_str(), seconds * 1e9 / settings->second.value);
            std::fflush(stdout);
        }
    }
};

// The ratio table, from the results of all child runs.
class RatioTable {
  public:
    void add(const std::string& name, size_t n, double nsPerSetting) {
        d_nsPerSetting[{name, n}] = nsPerSetting;
    }

    // Per measurement, the median of the values the tables hold.
    static RatioTable medianOf(const std::vector<RatioTable>& tables) {
        std::map<std::pair<std::string, size_t>, std::vector<double>> values;
        for (const RatioTable& table : tables) {
            for (const auto& entry : table.d_nsPerSetting) {
                values[entry.first].push_back(entry.second);
            }
        }
        RatioTable median;
        for (auto& entry : values) {
            std::vector<double>& measured = entry.second;
            std::sort(measured.begin(), measured.end());
            median.d_nsPerSetting[entry.first] = measured[measured.size() / 2];
        }
        return median;
    }

    void print() const {
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
                const bool judged = comparison.target > 0 && n >= comparison.judgedFrom;
                const bool met = !judged || ratio <= comparison.target;
                missed += met ? 0 : 1;
                char target[16] = "-";
                if (judged) {
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

namespace {

// Runs this program again with the given arguments, passing its console output through and
// handing each result line to `table`. Returns false when the child failed.
bool runChild(const std::string& arguments, RatioTable* table, std::vector<std::string>* names) {
    static const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    const std::string command = "'" + self + "' --orvandel-child " + arguments;
    FILE* child = popen(command.c_str(), "r");
    if (child == nullptr) {
        return false;
    }
    char line[4096];
    while (std::fgets(line, sizeof line, child) != nullptr) {
        char name[256];
        char args[64];
        double nsPerSetting = 0;
        const char* result = std::strstr(line, "ORVANDEL-RESULT ");
        if (table != nullptr && result != nullptr &&
            std::sscanf(result, "ORVANDEL-RESULT %255s %63s %lf", name, args, &nsPerSetting) == 3) {
            table->add(name, std::stoull(args), nsPerSetting);
        } else if (names != nullptr) {
            std::string text(line);
            text.erase(text.find_last_not_of("\r\n") + 1);
            names->push_back(text);
        } else {
            std::fputs(line, stdout);
        }
    }
    return pclose(child) == 0;
}

}  // namespace

// Every benchmark runs in a fresh process of its own, so that none inherits the heap another left
// behind (a map of a million nodes freed just before makes the next one's nodes scatter, which
// changes lookup times by half). The parent lists the benchmarks, runs each alone, and prints the
// table.
int runAndReport(int argc, char** argv) {
    std::vector<std::string> passed;
    bool child = false;
    for (int argument = 1; argument < argc; ++argument) {
        if (std::string(argv[argument]) == "--orvandel-child") {
            child = true;
        } else {
            passed.push_back(argv[argument]);
        }
    }
    if (child) {
        benchmark::Initialize(&argc, argv);
        ChildReporter reporter;
        benchmark::RunSpecifiedBenchmarks(&reporter);
        benchmark::Shutdown();
        return 0;
    }
    std::string arguments;
    for (const std::string& argument : passed) {
        arguments += " '" + argument + "'";
    }
    std::vector<std::string> names;
    if (!runChild("--benchmark_list_tests" + arguments, nullptr, &names)) {
        std::fprintf(stderr, "orvandel_bench: cannot list the benchmarks\n");
        return 1;
    }
    // Each process lays out its heap differently, which moves a measurement by up to a third;
    // the median of three processes is what the table shows.
    std::vector<RatioTable> runs(3);
    int failed = 0;
    for (const std::string& name : names) {
        for (RatioTable& run : runs) {
            if (!runChild("'--benchmark_filter=^" + name + "$'" + arguments, &run, nullptr)) {
                std::fprintf(stderr, "orvandel_bench: %s failed\n", name.c_str());
                ++failed;
            }
        }
    }
    RatioTable::medianOf(runs).print();
    return failed == 0 ? 0 : 1;
}

}  // namespace orvandel_bench
