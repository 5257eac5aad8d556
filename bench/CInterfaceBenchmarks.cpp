// The same lookups and stores through the flat C functions, compared with the object interfaces.
#include <vector>

#include <orvandel/configuration/ConfigurationAPI.h>

#include "Measure.h"
#include "Workload.h"

namespace orvandel_bench {

namespace {

// Reads a setting's value through the C getter of its type, as a C caller would.
uint64_t touchHandle(void* setting) {
    uint32_t type = 0;
    Setting_getType(setting, &type);
    switch (type) {
        case ConfigurationSettingType_bool: {
            uint32_t value = 0;
            Setting_getBoolean(setting, &value);
            return value;
        }
        case ConfigurationSettingType_uchar: {
            unsigned char value = 0;
            Setting_getUCHAR(setting, &value);
            return value;
        }
        case ConfigurationSettingType_char: {
            signed char value = 0;
            Setting_getCHAR(setting, &value);
            return static_cast<uint64_t>(value);
        }
        case ConfigurationSettingType_uint16: {
            uint16_t value = 0;
            Setting_getUINT16(setting, &value);
            return value;
        }
        case ConfigurationSettingType_int16: {
            int16_t value = 0;
            Setting_getINT16(setting, &value);
            return static_cast<uint64_t>(value);
        }
        case ConfigurationSettingType_int32: {
            int32_t value = 0;
            Setting_getINT32(setting, &value);
            return static_cast<uint64_t>(value);
        }
        case ConfigurationSettingType_int64: {
            int64_t value = 0;
            Setting_getINT64(setting, &value);
            return static_cast<uint64_t>(value);
        }
        case ConfigurationSettingType_double: {
            double value = 0;
            Setting_getDOUBLE(setting, &value);
            return static_cast<uint64_t>(value);
        }
        case ConfigurationSettingType_string: {
            unsigned char value[64];
            uint32_t length = 0;
            Setting_getString(setting, value, sizeof value, &length);
            return length;
        }
        case ConfigurationSettingType_binary: {
            unsigned char value[128];
            uint32_t length = 0;
            Setting_getBinaryBuffer(setting, value, sizeof value, &length);
            return length;
        }
        default:
            return 0;
    }
}

const unsigned char* text(const std::string& path) {
    return reinterpret_cast<const unsigned char*>(path.c_str());
}

void c_lookup_get(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    AutoRefCounted<IConfigurationSet> set = buildSet("BinaryConfigurationSet", load);
    void* handle = set.operator->();
    for (auto _ : state) {
        uint64_t sum = 0;
        for (const uint32_t i : load.lookupOrder) {
            void* setting = nullptr;
            ConfigurationSet_retrieveSetting(handle, text(load.paths[i]), &setting);
            sum += touchHandle(setting);
            Setting_releaseInstance(setting);
        }
        benchmark::DoNotOptimize(sum);
    }
    countSettings(state, load.paths.size());
}
ORVANDEL_BENCHMARK(c_lookup_get);

void c_lookup_set(benchmark::State& state) {
    const Workload& load = workload(state.range(0));
    AutoRefCounted<IConfigurationSet> set = buildSet("BinaryConfigurationSet", load);
    void* handle = set.operator->();
    size_t settings = 0;
    for (auto _ : state) {
        settings = 0;
        for (const uint32_t i : load.lookupOrder) {
            if (load.values[i].type == ISetting::int32Type) {
                void* setting = nullptr;
                ConfigurationSet_retrieveSetting(handle, text(load.paths[i]), &setting);
                Setting_setINT32(setting, static_cast<int32_t>(i));
                Setting_releaseInstance(setting);
                ++settings;
            }
        }
    }
    countSettings(state, settings);
}
ORVANDEL_BENCHMARK(c_lookup_set);

}  // namespace

}  // namespace orvandel_bench
