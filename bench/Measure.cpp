#include "Measure.h"

#include <malloc.h>
#include <sched.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace orvandel_bench {

namespace {

// Every comparison the table reports, with its target ratio and the smallest N it is judged at
// (small workloads fit in the caches and are reported for information). The benchmarks run in
// the order in which this list first names them, so that an operation runs next to its floor.
const Comparison kComparisons[] = {
    {"insert all", "insert", "map_build", 0, 0},
    {"lookup + read", "lookup", "map_find", 1.3, 100000},
    {"C lookup + get", "c_lookup_get", "lookup", 1.2, 100000},
    {"C lookup + set", "c_lookup_set", "lookup_set", 1.2, 100000},
    {"enumerate all by index", "enumerate_all", "map_walk", 2.0, 1000000},
    {"range-for over all (C++ layer)", "entries_all", "enumerate_all", 1.2, 1000000},
    {"enumerate one branch by index", "enumerate_branch", "map_walk_branch", 0, 0},
    {"binary serialise", "binary_serialize", "map_walk_memcpy", 1.5, 100000},
    {"binary read", "binary_read", "map_build_sorted", 1.5, 100000},
    {"XML serialise", "xml_serialize", "xerces_build_serialize", 1.2, 100000},
    {"XML serialise, query + fill", "xml_query_fill", "xerces_serialize", 1.0, 1000},
    {"XML serialise, query + fill", "xml_query_fill", "xerces_serialize", 0.5, 100000},
    {"XML serialise, query + fill, set read from XML", "xml_query_fill_loaded", "xerces_serialize",
     0, 0},
    {"XML read", "xml_read", "xerces_parse_walk", 1.2, 100000},
    {"XML read vs DOM parse alone", "xml_read", "xerces_dom_parse", 0.75, 1000},
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

// The ratio table, from the results of every round of child runs. A figure is the median of the
// rounds' values, and a ratio the median of the rounds' ratios: an operation and its floor run
// close together within a round, so a ratio taken within one round carries less of the machine's
// drift than a ratio of medians.
class RatioTable {
  public:
    void add(size_t round, const std::string& name, size_t n, double nsPerSetting) {
        if (d_rounds.size() <= round) {
            d_rounds.resize(round + 1);
        }
        d_rounds[round][{name, n}] = nsPerSetting;
    }

    void print() const {
        std::printf("\n%-32s %10s %14s %14s %8s %8s\n", "operation", "N", "ns/setting", "floor ns",
                    "ratio", "target");
        int missed = 0;
        const std::set<Key> measured = measuredKeys();
        for (const Comparison& comparison : kComparisons) {
            for (const Key& key : measured) {
                if (key.first != comparison.operation) {
                    continue;
                }
                const std::vector<double> ratios = ratiosOf(key, comparison.floor);
                if (ratios.empty()) {
                    continue;
                }
                const size_t n = key.second;
                const double ratio = median(ratios);
                const bool judged = comparison.target > 0 && n >= comparison.judgedFrom;
                const bool met = !judged || ratio <= comparison.target;
                missed += met ? 0 : 1;
                char target[16] = "-";
                if (judged) {
                    std::snprintf(target, sizeof target, "%.2f", comparison.target);
                }
                std::printf("%-32s %10zu %14.1f %14.1f %8.2f %8s%s\n", comparison.label, n,
                            median(valuesOf(key)), median(valuesOf({comparison.floor, n})), ratio,
                            target, met ? "" : "  MISSED");
            }
        }
        for (const Key& key : measured) {
            if (key.first.rfind("shape_", 0) == 0) {
                std::printf("%-32s %10zu %14.1f\n", key.first.c_str(), key.second,
                            median(valuesOf(key)));
            }
        }
        std::printf("\n%d target(s) missed\n", missed);
    }

  private:
    using Key = std::pair<std::string, size_t>;  // a benchmark and its N
    using Round = std::map<Key, double>;

    static double median(std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    }

    std::set<Key> measuredKeys() const {
        std::set<Key> keys;
        for (const Round& round : d_rounds) {
            for (const auto& entry : round) {
                keys.insert(entry.first);
            }
        }
        return keys;
    }

    std::vector<double> valuesOf(const Key& key) const {
        std::vector<double> values;
        for (const Round& round : d_rounds) {
            const auto value = round.find(key);
            if (value != round.end()) {
                values.push_back(value->second);
            }
        }
        return values;
    }

    // The ratio of key to the floor at the same N, in each round that measured both.
    std::vector<double> ratiosOf(const Key& key, const std::string& floor) const {
        std::vector<double> ratios;
        for (const Round& round : d_rounds) {
            const auto value = round.find(key);
            const auto floorValue = round.find({floor, key.second});
            if (value != round.end() && floorValue != round.end()) {
                ratios.push_back(value->second / floorValue->second);
            }
        }
        return ratios;
    }

    std::vector<Round> d_rounds;
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

// glibc moves its mmap threshold as large blocks are freed, so whether an iteration's buffers come
// back from the heap or are mapped afresh (and faulted in page by page, which costs more than the
// work itself on some virtual machines) depended on what ran before in the process. Fixed
// thresholds make every iteration reuse what the previous one freed, for floors and library alike.
void keepFreedMemory() {
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024 * 1024);
}

// Keeps this process and the children it starts on the processor it runs on now: virtual
// processors of one machine can differ in speed by half at times, and an operation compared with
// a floor measured on another processor would show that difference as its own.
void pinToCurrentCpu() {
    const int cpu = sched_getcpu();
    if (cpu < 0) {
        return;
    }
    cpu_set_t only;
    CPU_ZERO(&only);
    CPU_SET(cpu, &only);
    if (sched_setaffinity(0, sizeof only, &only) == 0) {
        std::fprintf(stderr, "orvandel_bench: running on processor %d\n", cpu);
    }
}

// The listed benchmarks ("operation/N/real_time") ordered by N, then by where the comparisons
// first name their operation, so that each operation runs right next to its floor.
std::vector<std::string> measuringOrder(std::vector<std::string> names) {
    std::vector<std::string> sequence;
    for (const Comparison& comparison : kComparisons) {
        for (const char* name : {comparison.operation, comparison.floor}) {
            if (std::find(sequence.begin(), sequence.end(), name) == sequence.end()) {
                sequence.push_back(name);
            }
        }
    }
    const auto rank = [&sequence](const std::string& listed) {
        const size_t slash = listed.find('/');
        const size_t n = std::stoull(listed.substr(slash + 1));
        const auto place = std::find(sequence.begin(), sequence.end(), listed.substr(0, slash));
        return std::make_pair(n, place - sequence.begin());
    };
    std::stable_sort(
        names.begin(), names.end(),
        [&rank](const std::string& a, const std::string& b) { return rank(a) < rank(b); });
    return names;
}

// Runs this program again with the given arguments, passing its console output through and
// handing each result line to `table`. Returns false when the child failed.
bool runChild(const std::string& arguments, RatioTable* table, size_t round,
              std::vector<std::string>* names) {
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
            table->add(round, name, std::stoull(args), nsPerSetting);
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
        keepFreedMemory();
        benchmark::Initialize(&argc, argv);
        ChildReporter reporter;
        benchmark::RunSpecifiedBenchmarks(&reporter);
        benchmark::Shutdown();
        return 0;
    }
    if (std::find(passed.begin(), passed.end(), "--help") != passed.end()) {
        return runChild("--help", nullptr, 0, nullptr) ? 0 : 1;  // Google Benchmark's options
    }
    pinToCurrentCpu();
    // A warm-up iteration first, so that no measurement pays for faulting in fresh memory. The
    // caller's filter chooses the benchmarks listed; each child then runs one of them by name.
    std::string arguments = " --benchmark_min_warmup_time=0.2";
    std::string filter;
    for (const std::string& argument : passed) {
        (argument.rfind("--benchmark_filter=", 0) == 0 ? filter : arguments) +=
            " '" + argument + "'";
    }
    std::vector<std::string> names;
    if (!runChild("--benchmark_list_tests" + arguments + filter, nullptr, 0, &names)) {
        std::fprintf(stderr, "orvandel_bench: cannot list the benchmarks\n");
        return 1;
    }
    // Each process lays out its heap differently, which moves a measurement by up to a third, and
    // the machine's speed drifts over minutes. So every benchmark runs in three rounds, and within
    // a round the benchmarks of one N run together, each operation next to its floor.
    const std::vector<std::string> order = measuringOrder(names);
    RatioTable table;
    int failed = 0;
    for (size_t round = 0; round < 3; ++round) {
        for (const std::string& name : order) {
            if (!runChild("'--benchmark_filter=^" + name + "$'" + arguments, &table, round,
                          nullptr)) {
                std::fprintf(stderr, "orvandel_bench: %s failed\n", name.c_str());
                ++failed;
            }
        }
    }
    table.print();
    return failed == 0 ? 0 : 1;
}

}  // namespace orvandel_bench
