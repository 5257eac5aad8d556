// Floors: the same work done on the plainest data structure the library could use, a
// std::map<std::string, std::unique_ptr<Value>> with one heap object per setting.
#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <string>

#include "Measure.h"
#include "Workload.h"

namespace orvandel_bench {

namespace {

using PlainMap = std::map<std::string, std::unique_ptr<Value>>;

PlainMap buildPlainMap(const Workload& load) {
    PlainMap map;
    for (size_t i = 0; i < load.paths.size(); ++i) {
        map.emplace(load.paths[i], std::make_unique<Value>(load.values[i]));
    }
    return map;
}

void map_build(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    for (auto _ : state) {
        PlainMap map = buildPlainMap(load);
        benchmark::DoNotOptimize(map);
        state.PauseTiming();
        map.clear();
        state.ResumeTiming();
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(map_build);

// The same map built from keys that arrive in order, as a reader of a sorted stream receives
// them: each node goes at the end, with no search.
void map_build_sorted(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    std::vector<uint32_t> order(load.paths.size());
    for (uint32_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::sort(order.begin(), order.end(),
              [&load](uint32_t a, uint32_t b) { return load.paths[a] < load.paths[b]; });
    for (auto _ : state) {
        PlainMap map;
        for (const uint32_t i : order) {
            map.emplace_hint(map.end(), load.paths[i], std::make_unique<Value>(load.values[i]));
        }
        benchmark::DoNotOptimize(map);
        state.PauseTiming();
        map.clear();
        state.ResumeTiming();
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(map_build_sorted);

void map_find(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    const PlainMap map = buildPlainMap(load);
    for (auto _ : state) {
        uint64_t sum = 0;
        for (const uint32_t i : load.lookupOrder) {
            sum += touchValue(*map.find(load.paths[i])->second);
        }
        benchmark::DoNotOptimize(sum);
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(map_find);

void map_walk(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    const PlainMap map = buildPlainMap(load);
    for (auto _ : state) {
        uint64_t sum = 0;
        for (const auto& entry : map) {
            sum += entry.first.size() + touchValue(*entry.second);
        }
        benchmark::DoNotOptimize(sum);
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(map_walk);

void map_walk_branch(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    const PlainMap map = buildPlainMap(load);
    const std::string branch = "section5/";
    size_t settings = 0;
    for (auto _ : state) {
        uint64_t sum = 0;
        settings = 0;
        for (auto entry = map.lower_bound(branch);
             entry != map.end() && entry->first.compare(0, branch.size(), branch) == 0; ++entry) {
            sum += entry->first.size() + touchValue(*entry->second);
            ++settings;
        }
        benchmark::DoNotOptimize(sum);
    }
    countSettings(state, settings);
}
ORVANDEL_BENCHMARK(map_walk_branch);

// Walking the map and copying the serialised size: what any serialiser has to do at least.
void map_walk_memcpy(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    const PlainMap map = buildPlainMap(load);
    const std::vector<unsigned char> form = serialize(*buildSet("BinaryConfigurationSet", load));
    std::vector<unsigned char> copy(form.size());
    for (auto _ : state) {
        uint64_t sum = 0;
        for (const auto& entry : map) {
            sum += entry.first.size() + touchValue(*entry.second);
        }
        std::memcpy(copy.data(), form.data(), form.size());
        benchmark::DoNotOptimize(sum);
        benchmark::DoNotOptimize(copy.data());
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(map_walk_memcpy);

}  // namespace

}  // namespace orvandel_bench
