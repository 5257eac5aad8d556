// What the fuzz targets share: an invariant check that aborts (so the fuzzer records the input),
// a snapshot of a set's contents that tells whether a failed read changed anything, and the
// whole serialised form of a set.
#ifndef ORVANDEL_FUZZ_FUZZSUPPORT_H
#define ORVANDEL_FUZZ_FUZZSUPPORT_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/Convenience.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/ISetting.h>

#define FUZZ_CHECK(condition)                                                            \
    do {                                                                                 \
        if (!(condition)) {                                                              \
            std::fprintf(stderr, "invariant failed: %s (%s:%d)\n", #condition, __FILE__, \
                         __LINE__);                                                      \
            std::abort();                                                                \
        }                                                                                \
    } while (false)

namespace orvandel_fuzz {

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;

// One stored setting: its path, the object's identity, its type and its value's bytes.
struct SettingSnapshot {
    std::string path;
    const ISetting* object;
    uint32_t type;
    std::vector<unsigned char> value;

    bool operator==(const SettingSnapshot& other) const {
        return path == other.path && object == other.object && type == other.type &&
               value == other.value;
    }
};

// A value's bytes: a fixed-width value's own bytes, a text's characters, a buffer's contents.
template <class T>
std::vector<unsigned char> bytesOf(const ISetting& setting) {
    T value{};
    setting.getValue(&value);
    if constexpr (std::is_pointer_v<T>) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(value->data());
        return std::vector<unsigned char>(bytes, bytes + value->size() * sizeof value->front());
    } else {
        const auto* bytes = reinterpret_cast<const unsigned char*>(&value);
        return std::vector<unsigned char>(bytes, bytes + sizeof value);
    }
}

inline std::vector<unsigned char> binaryBytesOf(const ISetting& setting) {
    const unsigned char* binary = nullptr;
    size_t length = 0;
    setting.getLockedBinaryBuffer(&binary, &length);
    return std::vector<unsigned char>(binary, binary + length);
}

// Indexed by type code.
inline std::vector<unsigned char> valueBytes(const ISetting& setting) {
    using Reader = std::vector<unsigned char> (*)(const ISetting&);
    static const Reader readers[] = {bytesOf<bool>,     bytesOf<unsigned char>,
                                     bytesOf<uint16_t>, bytesOf<uint32_t>,
                                     bytesOf<uint64_t>, bytesOf<signed char>,
                                     bytesOf<int16_t>,  bytesOf<int32_t>,
                                     bytesOf<int64_t>,  bytesOf<float>,
                                     bytesOf<double>,   bytesOf<const std::string*>,
                                     binaryBytesOf,     bytesOf<const std::wstring*>};
    const uint32_t type = setting.getType();
    return type < std::size(readers) ? readers[type](setting) : std::vector<unsigned char>();
}

// Every setting of the set, in path order, enumerated through the public interface. The count
// the set reports must agree with what enumeration finds.
inline std::vector<SettingSnapshot> snapshot(const IConfigurationSet& set) {
    std::vector<SettingSnapshot> settings;
    for (uint32_t index = 0;; ++index) {
        std::string path;
        AutoRefCounted<const ISetting> setting;
        try {
            setting = set.retrieveLockedSettingByIndex(std::string(), index, path);
        } catch (IConfigurationSet::ConfigurationSetException exception) {
            FUZZ_CHECK(exception == IConfigurationSet::noSettingAtPathException);
            break;
        }
        settings.push_back({path, setting.operator->(), setting->getType(), valueBytes(*setting)});
    }
    FUZZ_CHECK(settings.size() == set.getSettingCount());
    return settings;
}

// The set's whole serialised form, through the length protocol.
inline std::vector<unsigned char> serializeAll(IConfigurationSet& set) {
    return com::orvandel::configuration::serialize(set);
}

inline AutoRefCounted<IConfigurationSet> createSet(const char* type) {
    return getConfigurationSetFactory()->createConfigurationSet(type);
}

// Gives the set a few settings of several types, so that a read has something to keep or
// replace, and clears its modified flag.
inline void populate(IConfigurationSet& set) {
    using namespace com::orvandel::configuration;
    put(set, "a/number", int32_t{-7});
    put(set, "/x", std::string("kept"));
    put(set, "b/blob", BinaryValue{1, 2, 3});
    set.checkModified();
}

inline AutoRefCounted<IConfigurationSet> createPopulatedSet(const char* type) {
    AutoRefCounted<IConfigurationSet> set = createSet(type);
    populate(*set);
    return set;
}

}  // namespace orvandel_fuzz

#endif
