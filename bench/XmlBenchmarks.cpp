// The library's XML form: writing and reading the ordinary workload, and two shapes that once
// cost quadratic time: one branch holding many settings (read), many branches of one setting each
// (write). Their per-setting cost is reported next to the ordinary workload's.
#include <map>

#include <orvandel/configuration/IConfigurationSetFactory.h>

#include "Measure.h"
#include "Workload.h"
#include "XmlForms.h"

namespace orvandel_bench {

const std::vector<unsigned char>& xmlForm(const Workload& load) {
    static std::map<const Workload*, std::vector<unsigned char>> forms;
    auto found = forms.find(&load);
    if (found == forms.end()) {
        found = forms.emplace(&load, serialize(*buildSet("XMLConfigurationSet", load))).first;
    }
    return found->second;
}

namespace {

// One serialisation into a buffer that fits, as a caller that keeps its buffer makes it.
void serializeInto(benchmark::State& state, const Workload& load) {
    AutoRefCounted<IConfigurationSet> set = buildSet("XMLConfigurationSet", load);
    std::vector<unsigned char> form(serialize(*set).size());
    for (auto _ : state) {
        size_t length = 0;
        set->serialize(form.data(), form.size(), &length);
        benchmark::DoNotOptimize(form.data());
    }
    countSettings(state, load.paths.size());
}

// As save and a C caller that does not know the length serialise: a length query, then a buffer
// of that length.
void xml_query_fill(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    AutoRefCounted<IConfigurationSet> set = buildSet("XMLConfigurationSet", load);
    for (auto _ : state) {
        benchmark::DoNotOptimize(serialize(*set));
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(xml_query_fill);

// The same for a set read from its XML form, as a program that loads its configuration, changes
// it and saves it holds it: its settings lie in memory in path order, as the floor's document
// does, where a set filled in the workload's order has them scattered.
void xml_query_fill_loaded(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    const std::vector<unsigned char>& form = xmlForm(load);
    AutoRefCounted<IConfigurationSet> set =
        getConfigurationSetFactory()->createConfigurationSet("XMLConfigurationSet");
    set->unserialize(form.data(), form.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(serialize(*set));
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(xml_query_fill_loaded);

void readInto(benchmark::State& state, const Workload& load) {
    timeReads(state, "XMLConfigurationSet", xmlForm(load));
    countSettings(state, load.paths.size());
}

void xml_serialize(benchmark::State& state) {
    serializeInto(state, workload(state.range(0)));
}
ORVANDEL_BENCHMARK(xml_serialize);

void xml_read(benchmark::State& state) {
    readInto(state, workload(state.range(0)));
}
ORVANDEL_BENCHMARK(xml_read);

void shape_xml_read_one_branch(benchmark::State& state) {
    readInto(state, oneBranchWorkload(state.range(0)));
}
BENCHMARK(shape_xml_read_one_branch)->Arg(10000)->UseRealTime()->Unit(benchmark::kMillisecond);

void shape_xml_write_many_branches(benchmark::State& state) {
    serializeInto(state, manyBranchesWorkload(state.range(0)));
}
BENCHMARK(shape_xml_write_many_branches)->Arg(10000)->UseRealTime()->Unit(benchmark::kMillisecond);

void shape_xml_read_ordinary(benchmark::State& state) {
    readInto(state, workload(state.range(0)));
}
BENCHMARK(shape_xml_read_ordinary)->Arg(10000)->UseRealTime()->Unit(benchmark::kMillisecond);

void shape_xml_write_ordinary(benchmark::State& state) {
    serializeInto(state, workload(state.range(0)));
}
BENCHMARK(shape_xml_write_ordinary)->Arg(10000)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace orvandel_bench
