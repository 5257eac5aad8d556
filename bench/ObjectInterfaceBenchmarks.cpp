// The library through its object interfaces, and the binary form.
#include <string>

#include <orvandel/configuration/Convenience.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>

#include "Measure.h"
#include "Workload.h"

namespace orvandel_bench {

namespace {

void insert(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    for (auto _ : state) {
        AutoRefCounted<IConfigurationSet> set = buildSet("BinaryConfigurationSet", load);
        state.PauseTiming();
        set = AutoRefCounted<IConfigurationSet>();
        state.ResumeTiming();
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(insert);

void lookup(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    AutoRefCounted<IConfigurationSet> set = buildSet("BinaryConfigurationSet", load);
    for (auto _ : state) {
        uint64_t sum = 0;
        for (const uint32_t i : load.lookupOrder) {
            sum += touchSetting(*set->retrieveLockedSetting(load.paths[i]));
        }
        benchmark::DoNotOptimize(sum);
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(lookup);

// Looks each path up and stores a new value of its type: the object-interface side of the C
// setter benchmark, on int32 settings.
void lookup_set(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    AutoRefCounted<IConfigurationSet> set = buildSet("BinaryConfigurationSet", load);
    size_t settings = 0;
    for (auto _ : state) {
        settings = 0;
        for (const uint32_t i : load.lookupOrder) {
            if (load.values[i].type == ISetting::int32Type) {
                set->retrieveSetting(load.paths[i])->setValue(static_cast<int32_t>(i));
                ++settings;
            }
        }
    }
    countSettings(state, settings);
}
ORVANDEL_BENCHMARK(lookup_set);

size_t enumerateBranch(IConfigurationSet& set, const std::string& branch) {
    std::string path;
    uint64_t sum = 0;
    uint32_t index = 0;
    try {
        for (;; ++index) {
            sum +=
                path.size() + touchSetting(*set.retrieveLockedSettingByIndex(branch, index, path));
        }
    } catch (IConfigurationSet::ConfigurationSetException) {
    }
    benchmark::DoNotOptimize(sum);
    return index;
}

void enumerate_all(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    AutoRefCounted<IConfigurationSet> set = buildSet("BinaryConfigurationSet", load);
    for (auto _ : state) {
        enumerateBranch(*set, std::string());
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(enumerate_all);

// The same walk as enumerate_all through the C++ layer's range-for over the empty branch.
void entries_all(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    AutoRefCounted<IConfigurationSet> set = buildSet("BinaryConfigurationSet", load);
    const IConfigurationSet& walked = *set;
    for (auto _ : state) {
        uint64_t sum = 0;
        for (const auto& [path, setting] : com::orvandel::configuration::entries(walked, "")) {
            sum += path.size() + touchSetting(*setting);
        }
        benchmark::DoNotOptimize(sum);
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(entries_all);

void enumerate_branch(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    AutoRefCounted<IConfigurationSet> set = buildSet("BinaryConfigurationSet", load);
    size_t settings = 0;
    for (auto _ : state) {
        settings = enumerateBranch(*set, "section5/");
    }
    countSettings(state, settings);
}
ORVANDEL_BENCHMARK(enumerate_branch);

void binary_serialize(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    AutoRefCounted<IConfigurationSet> set = buildSet("BinaryConfigurationSet", load);
    std::vector<unsigned char> form(serialize(*set).size());
    for (auto _ : state) {
        size_t length = 0;
        try {
            set->serialize(nullptr, 0, &length);
        } catch (IConfigurationSet::ConfigurationSetException) {
        }
        set->serialize(form.data(), length, &length);
        benchmark::DoNotOptimize(form.data());
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(binary_serialize);

void binary_read(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    timeReads(state, "BinaryConfigurationSet",
              serialize(*buildSet("BinaryConfigurationSet", load)));
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(binary_read);

}  // namespace

}  // namespace orvandel_bench
