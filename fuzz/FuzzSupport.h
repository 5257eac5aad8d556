// What the fuzz targets share: an invariant check that aborts (so the fuzzer records the input),
// a snapshot of a set's contents that tells whether a failed read changed anything, and the
// whole serialised form of a set.
#ifndef ORVANDEL_FUZZ_FUZZSUPPORT_H
#define ORVANDEL_FUZZ_FUZZSUPPORT_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <orvandel/IRefCounted.h>
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

template <class T>
std::vector<unsigned char> bytesOf(const ISetting& setting) {
    T value;
    setting.getValue(&value);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&value);
    return std::vector<unsigned char>(bytes, bytes + sizeof value);
}

inline std::vector<unsigned char> valueBytes(const ISetting& setting) {
    switch (setting.getType()) {
        case ISetting::boolType:
            return bytesOf<bool>(setting);
        case ISetting::ucharType:
            return bytesOf<unsigned char>(setting);
        case ISetting::uint16Type:
            return bytesOf<uint16_t>(setting);
        case ISetting::uint32Type:
            return bytesOf<uint32_t>(setting);
        case ISetting::uint64Type:
            return bytesOf<uint64_t>(setting);
        case ISetting::charType:
            return bytesOf<signed char>(setting);
        case ISetting::int16Type:
            return bytesOf<int16_t>(setting);
        case ISetting::int32Type:
            return bytesOf<int32_t>(setting);
        case ISetting::int64Type:
            return bytesOf<int64_t>(setting);
        case ISetting::floatType:
            return bytesOf<float>(setting);
        case ISetting::doubleType:
            return bytesOf<double>(setting);
        case ISetting::stringType: {
            const std::string* text = nullptr;
            setting.getValue(&text);
            return std::vector<unsigned char>(text->begin(), text->end());
        }
        case ISetting::unicodeString: {
            const std::wstring* text = nullptr;
            setting.getValue(&text);
            const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text->data());
            return std::vector<unsigned char>(bytes, bytes + text->size() * sizeof(wchar_t));
        }
        case ISetting::binaryType: {
            const unsigned char* binary = nullptr;
            size_t length = 0;
            setting.getLockedBinaryBuffer(&binary, &length);
            return std::vector<unsigned char>(binary, binary + length);
        }
    }
    return {};
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
    size_t length = 0;
    try {
        set.serialize(nullptr, 0, &length);
        return {};
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        FUZZ_CHECK(exception == IConfigurationSet::outBufferTooSmallException);
    }
    std::vector<unsigned char> form(length);
    size_t written = 0;
    set.serialize(form.data(), form.size(), &written);
    FUZZ_CHECK(written == length);
    return form;
}

inline AutoRefCounted<IConfigurationSet> createSet(const char* type) {
    return getConfigurationSetFactory()->createConfigurationSet(type);
}

// Gives the set a few settings of several types, so that a read has something to keep or
// replace, and clears its modified flag.
inline void populate(IConfigurationSet& set) {
    const auto* factory = getConfigurationSetFactory();
    AutoRefCounted<ISetting> number = factory->createSetting();
    number->initialize(ISetting::int32Type);
    number->setValue(static_cast<int32_t>(-7));
    set.insertSetting("a/number", number);
    AutoRefCounted<ISetting> text = factory->createSetting();
    text->initialize(ISetting::stringType);
    text->setValue(std::string("kept"));
    set.insertSetting("/x", text);
    AutoRefCounted<ISetting> binary = factory->createSetting();
    binary->initialize(ISetting::binaryType);
    size_t length = 3;
    binary->resizeBinaryBuffer(&length);
    unsigned char* bytes = nullptr;
    binary->getBinaryBuffer(&bytes, &length);
    bytes[0] = 1;
    bytes[1] = 2;
    bytes[2] = 3;
    set.insertSetting("b/blob", binary);
    set.checkModified();
}

inline AutoRefCounted<IConfigurationSet> createPopulatedSet(const char* type) {
    AutoRefCounted<IConfigurationSet> set = createSet(type);
    populate(*set);
    return set;
}

}  // namespace orvandel_fuzz

#endif
