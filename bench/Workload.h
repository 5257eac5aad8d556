// The benchmark workload: N settings with realistic paths and a realistic mix of types, generated
// from a fixed seed so every run measures the same data.
#ifndef ORVANDEL_BENCH_WORKLOAD_H
#define ORVANDEL_BENCH_WORKLOAD_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/Convenience.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/ISetting.h>

namespace orvandel_bench {

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;
using com::orvandel::configuration::serialize;  // the set's whole serialised form

// One typed value, held the way a plain program would hold it: the floors of the benchmarks
// keep these in a std::map<std::string, std::unique_ptr<Value>>, one heap object per setting,
// as the library has.
struct Value {
    ISetting::Type type;
    union {
        bool b;
        unsigned char u8;
        signed char i8;
        uint16_t u16;
        int16_t i16;
        int32_t i32;
        int64_t i64;
        double f64;
    } scalar;
    std::string text;
    std::vector<unsigned char> binary;
};

struct Workload {
    std::vector<std::string> paths;     // in generation order (not sorted)
    std::vector<Value> values;          // values[i] belongs to paths[i]
    std::vector<uint32_t> lookupOrder;  // a random permutation of the indices
};

// The workload of n settings (cached: generated once per n). Paths look like
// "section{i%97}/group{i%13}/key{i}"; about 30% int32, 10% int64, 10% bool, 10% double,
// 20% strings of 8 to 40 characters, 10% binary of 16 to 128 bytes, 10% 8/16-bit integers.
const Workload& workload(size_t n);

// A workload of n settings all under one branch ("big/key{i}"), or under n branches of one
// setting each ("branch{i}/key"), for the XML shape benchmarks.
const Workload& oneBranchWorkload(size_t n);
const Workload& manyBranchesWorkload(size_t n);

// Stores value into a fresh library setting of the value's type.
void storeValue(ISetting& setting, const Value& value);

// Reads a library setting's value and folds it into a number, so the compiler cannot drop it.
uint64_t touchSetting(const ISetting& setting);

// The same for a plain value.
uint64_t touchValue(const Value& value);

// A library set of the given type holding the workload.
AutoRefCounted<IConfigurationSet> buildSet(const char* type, const Workload& load);

// Times reading `form` into a fresh, empty set of the given type per iteration (creating and
// destroying the set are not timed).
void timeReads(benchmark::State& state, const char* type, const std::vector<unsigned char>& form);

}  // namespace orvandel_bench

#endif
