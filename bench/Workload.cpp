#include "Workload.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <random>

#include <orvandel/configuration/IConfigurationSetFactory.h>

namespace orvandel_bench {

namespace {

std::string randomText(std::mt19937_64& random, size_t length) {
    static const char kLetters[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 ";
    std::string text(length, ' ');
    for (char& c : text) {
        c = kLetters[random() % (sizeof kLetters - 1)];
    }
    text.front() = 'x';  // values start and end with a letter, so XML keeps them exactly
    text.back() = 'y';
    return text;
}

Value randomValue(std::mt19937_64& random) {
    Value value{};
    const uint64_t kind = random() % 100;
    if (kind < 30) {
        value.type = ISetting::int32Type;
        value.scalar.i32 = static_cast<int32_t>(random());
    } else if (kind < 40) {
        value.type = ISetting::int64Type;
        value.scalar.i64 = static_cast<int64_t>(random());
    } else if (kind < 50) {
        value.type = ISetting::boolType;
        value.scalar.b = (random() & 1) != 0;
    } else if (kind < 60) {
        value.type = ISetting::doubleType;
        value.scalar.f64 = std::uniform_real_distribution<double>(-1e6, 1e6)(random);
    } else if (kind < 80) {
        value.type = ISetting::stringType;
        value.text = randomText(random, 8 + random() % 33);
    } else if (kind < 90) {
        value.type = ISetting::binaryType;
        value.binary.resize(16 + random() % 113);
        for (unsigned char& byte : value.binary) {
            byte = static_cast<unsigned char>(random());
        }
    } else {
        switch (random() % 4) {
            case 0:
                value.type = ISetting::ucharType;
                value.scalar.u8 = static_cast<unsigned char>(random());
                break;
            case 1:
                value.type = ISetting::charType;
                value.scalar.i8 = static_cast<signed char>(random());
                break;
            case 2:
                value.type = ISetting::uint16Type;
                value.scalar.u16 = static_cast<uint16_t>(random());
                break;
            default:
                value.type = ISetting::int16Type;
                value.scalar.i16 = static_cast<int16_t>(random());
        }
    }
    return value;
}

template <class PathOf>
Workload generate(size_t n, uint64_t seed, PathOf pathOf) {
    std::mt19937_64 random(seed);
    Workload load;
    load.paths.reserve(n);
    load.values.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        load.paths.push_back(pathOf(i));
        load.values.push_back(randomValue(random));
    }
    load.lookupOrder.resize(n);
    for (size_t i = 0; i < n; ++i) {
        load.lookupOrder[i] = static_cast<uint32_t>(i);
    }
    std::shuffle(load.lookupOrder.begin(), load.lookupOrder.end(), random);
    return load;
}

template <class PathOf>
const Workload& cached(std::map<size_t, Workload>& cache, size_t n, PathOf pathOf) {
    auto found = cache.find(n);
    if (found == cache.end()) {
        found = cache.emplace(n, generate(n, 20261123 + n, pathOf)).first;
    }
    return found->second;
}

// Every byte of a string or binary value counts, as it does for a C caller, whose getter copies
// the value out.
uint64_t foldBytes(const void* data, size_t length) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    return std::accumulate(bytes, bytes + length, uint64_t{length});
}

template <class T>
uint64_t fold(const ISetting& setting) {
    T value{};
    setting.getValue(&value);
    uint64_t bits = 0;
    std::copy_n(reinterpret_cast<const unsigned char*>(&value), sizeof value,
                reinterpret_cast<unsigned char*>(&bits));
    return bits;
}

}  // namespace

const Workload& workload(size_t n) {
    static std::map<size_t, Workload> cache;
    return cached(cache, n, [](size_t i) {
        return "section" + std::to_string(i % 97) + "/group" + std::to_string(i % 13) + "/key" +
               std::to_string(i);
    });
}

const Workload& oneBranchWorkload(size_t n) {
    static std::map<size_t, Workload> cache;
    return cached(cache, n, [](size_t i) { return "big/key" + std::to_string(i); });
}

const Workload& manyBranchesWorkload(size_t n) {
    static std::map<size_t, Workload> cache;
    return cached(cache, n, [](size_t i) { return "branch" + std::to_string(i) + "/key"; });
}

void storeValue(ISetting& setting, const Value& value) {
    setting.initialize(value.type);
    switch (value.type) {
        case ISetting::boolType:
            return setting.setValue(value.scalar.b);
        case ISetting::ucharType:
            return setting.setValue(value.scalar.u8);
        case ISetting::charType:
            return setting.setValue(value.scalar.i8);
        case ISetting::uint16Type:
            return setting.setValue(value.scalar.u16);
        case ISetting::int16Type:
            return setting.setValue(value.scalar.i16);
        case ISetting::int32Type:
            return setting.setValue(value.scalar.i32);
        case ISetting::int64Type:
            return setting.setValue(value.scalar.i64);
        case ISetting::doubleType:
            return setting.setValue(value.scalar.f64);
        case ISetting::stringType:
            return setting.setValue(value.text);
        case ISetting::binaryType: {
            size_t length = value.binary.size();
            setting.resizeBinaryBuffer(&length);
            unsigned char* bytes = nullptr;
            setting.getBinaryBuffer(&bytes, &length);
            std::copy(value.binary.begin(), value.binary.end(), bytes);
            return;
        }
        default:
            return;
    }
}

uint64_t touchSetting(const ISetting& setting) {
    switch (setting.getType()) {
        case ISetting::boolType:
            return fold<bool>(setting);
        case ISetting::ucharType:
            return fold<unsigned char>(setting);
        case ISetting::charType:
            return fold<signed char>(setting);
        case ISetting::uint16Type:
            return fold<uint16_t>(setting);
        case ISetting::int16Type:
            return fold<int16_t>(setting);
        case ISetting::int32Type:
            return fold<int32_t>(setting);
        case ISetting::int64Type:
            return fold<int64_t>(setting);
        case ISetting::doubleType:
            return fold<double>(setting);
        case ISetting::stringType: {
            const std::string* text = nullptr;
            setting.getValue(&text);
            return foldBytes(text->data(), text->size());
        }
        case ISetting::binaryType: {
            const unsigned char* bytes = nullptr;
            size_t length = 0;
            setting.getLockedBinaryBuffer(&bytes, &length);
            return foldBytes(bytes, length);
        }
        default:
            return 0;
    }
}

uint64_t touchValue(const Value& value) {
    switch (value.type) {
        case ISetting::stringType:
            return foldBytes(value.text.data(), value.text.size());
        case ISetting::binaryType:
            return foldBytes(value.binary.data(), value.binary.size());
        default: {
            uint64_t bits = 0;
            std::copy_n(reinterpret_cast<const unsigned char*>(&value.scalar), sizeof bits,
                        reinterpret_cast<unsigned char*>(&bits));
            return bits;
        }
    }
}

AutoRefCounted<IConfigurationSet> buildSet(const char* type, const Workload& load) {
    const auto* factory = getConfigurationSetFactory();
    AutoRefCounted<IConfigurationSet> set = factory->createConfigurationSet(type);
    for (size_t i = 0; i < load.paths.size(); ++i) {
        AutoRefCounted<ISetting> setting = factory->createSetting();
        storeValue(*setting, load.values[i]);
        set->insertSetting(load.paths[i], setting);
    }
    return set;
}

void timeReads(benchmark::State& state, const char* type, const std::vector<unsigned char>& form) {
    const auto* factory = getConfigurationSetFactory();
    for (auto _ : state) {
        state.PauseTiming();
        AutoRefCounted<IConfigurationSet> set = factory->createConfigurationSet(type);
        state.ResumeTiming();
        set->unserialize(form.data(), form.size());
        state.PauseTiming();
        set = AutoRefCounted<IConfigurationSet>();
        state.ResumeTiming();
    }
}

}  // namespace orvandel_bench
