// Decodes the input into flat C calls on a few set and setting handles, some of them null.
// Invariants: every call returns a documented code, and 1 for a null handle; no exception escapes;
// exactly the typed setter and getter of a setting's own type succeed, and a failed getter leaves
// its output alone; counts agree with enumeration; a form is written at the length reported; all
// handles are released at the end, so the leak checker sees every object freed.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <orvandel/configuration/ConfigurationAPI.h>

#include "FuzzSupport.h"

namespace {

const unsigned char* u(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

// A call returns a documented code, and 1 when one of its handles was null.
uint32_t checked(bool handlesPresent, uint32_t code) {
    FUZZ_CHECK(code <= ConfigurationResult_settingExistsAtPath);
    FUZZ_CHECK(handlesPresent || code == ConfigurationResult_badArgument);
    return code;
}

// Calls a getter of T and tells whether it succeeded; a failed one leaves the value alone.
template <class T>
uint32_t get(uint32_t (*getter)(void*, T*), void* setting) {
    T value;
    std::memset(&value, 0xA5, sizeof value);
    const T before = value;
    const bool succeeded = checked(setting, getter(setting, &value)) == 0;
    FUZZ_CHECK(succeeded || std::memcmp(&value, &before, sizeof value) == 0);
    return succeeded ? 1 : 0;
}

// Every typed setter, then every typed getter: exactly those of the setting's own type succeed.
// The type reads back as initialized (when initialized is not 0).
void setAndGetEveryType(void* target, uint32_t value, uint32_t initialized) {
    const uint32_t codes[] = {
        Setting_setBoolean(target, value),         Setting_setUCHAR(target, value & 0xFF),
        Setting_setUINT16(target, value & 0xFFFF), Setting_setUINT32(target, value),
        Setting_setUINT64(target, value),          Setting_setCHAR(target, value & 0x7F),
        Setting_setINT16(target, value & 0x7FFF),  Setting_setINT32(target, value >> 1),
        Setting_setINT64(target, -int64_t{value}), Setting_setFLOAT(target, value / 3.0f),
        Setting_setDOUBLE(target, value / 7.0)};
    uint32_t successes = 0;
    for (const uint32_t code : codes) {
        successes += checked(target, code) == 0 ? 1 : 0;
    }
    const uint32_t read = get(Setting_getBoolean, target) + get(Setting_getUCHAR, target) +
                          get(Setting_getUINT16, target) + get(Setting_getUINT32, target) +
                          get(Setting_getUINT64, target) + get(Setting_getCHAR, target) +
                          get(Setting_getINT16, target) + get(Setting_getINT32, target) +
                          get(Setting_getINT64, target) + get(Setting_getFLOAT, target) +
                          get(Setting_getDOUBLE, target);
    uint32_t type = 0;
    if (Setting_getType(target, &type) == 0) {
        FUZZ_CHECK(initialized == 0 || type == initialized);
        const uint32_t expected = type <= ConfigurationSettingType_double ? 1 : 0;
        FUZZ_CHECK(successes == expected && read == expected);
    }
}

// A set's count against enumeration.
void enumerate(void* set) {
    uint32_t count = 0;
    if (checked(set, ConfigurationSet_getSettingCount(set, &count)) != 0) {
        return;
    }
    uint32_t enumerated = 0;
    for (void* found = nullptr;; ++enumerated) {
        uint32_t required = 0;
        const uint32_t code = ConfigurationSet_retrieveSettingByIndex(
            set, u(""), enumerated, &found, nullptr, 0, &required);
        if (code != 0) {
            FUZZ_CHECK(code == ConfigurationResult_noSettingAtPath);
            break;
        }
        FUZZ_CHECK(Setting_releaseInstance(found) == 0);
    }
    FUZZ_CHECK(enumerated == count);
}

// Serialises one set through the buffer protocol and reads the form into another.
void roundTrip(void* source, void* target) {
    uint32_t length = 0;
    const uint32_t code = ConfigurationSet_serialize(source, nullptr, 0, &length);
    if (checked(source, code) != 0 && code != ConfigurationResult_outBufferTooSmall) {
        return;
    }
    std::vector<unsigned char> form(length + 1);
    uint32_t written = 0;
    if (ConfigurationSet_serialize(source, form.data(), length, &written) == 0) {
        FUZZ_CHECK(written == length);
        checked(target, ConfigurationSet_unserialize(target, form.data(), written));
    }
}

// The input, a byte at a time; past its end everything reads as zero.
struct Input {
    const uint8_t* data;
    size_t size;
    size_t position;

    uint8_t byte() { return position < size ? data[position++] : 0; }

    // One of a few paths that collide, nest and hold a character of two bytes.
    const unsigned char* path() {
        static const char* const kPaths[] = {"a", "a/b", "a/b/c", "\xc3\xa9", "a/\xc3\xa9", ""};
        return u(kPaths[byte() % (sizeof kPaths / sizeof kPaths[0])]);
    }

    // A handle from the pool, or null now and then (every function must refuse it cleanly).
    void* pick(const std::vector<void*>& pool) {
        const uint8_t choice = byte();
        return pool.empty() || choice == 255 ? nullptr : pool[choice % pool.size()];
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* const kSetTypes[] = {"BinaryConfigurationSet", "XMLConfigurationSet",
                                     "ConfigurationSet", "NoSuchType"};
    Input input{data, size, 0};
    std::vector<void*> sets;
    std::vector<void*> settings;
    for (int steps = 0; steps < 256 && input.position < size; ++steps) {
        const uint8_t operation = input.byte() % 7;
        void* set = input.pick(sets);
        void* setting = input.pick(settings);
        void* created = nullptr;
        uint32_t code = 0;
        switch (operation) {
            case 0:  // a set of one of the types, while the pool has room
                if (sets.size() < 4) {
                    code = ConfigurationSetFactory_createConfigurationSet(
                        u(kSetTypes[input.byte() % 4]), &created);
                    FUZZ_CHECK((code == 0 && created != nullptr) ||
                               (code == ConfigurationResult_unsupportedType && created == nullptr));
                    sets.insert(sets.end(), created != nullptr ? 1 : 0, created);
                }
                break;
            case 1: {  // a type code of any value: 1 to 14 are taken; then values of every type
                const uint8_t type = input.byte() % 16;
                code = checked(setting, Setting_initialize(setting, type));
                FUZZ_CHECK(setting == nullptr || (code == 0) == (type >= 1 && type <= 14));
                setAndGetEveryType(setting, input.byte() * 0x01000193u, code == 0 ? type : 0);
                break;
            }
            case 2: {  // a second insertion at the same path is refused
                const unsigned char* at = input.path();
                code = checked(set && setting, ConfigurationSet_insertSetting(set, at, setting));
                FUZZ_CHECK(code != 0 || ConfigurationSet_insertSetting(set, at, setting) ==
                                            ConfigurationResult_settingExistsAtPath);
                break;
            }
            case 3:  // a setting made or looked up joins the pool, or is given back when it is full
                code = input.byte() % 2 == 0 ? ConfigurationSetFactory_createSetting(&created)
                                             : checked(set, ConfigurationSet_retrieveSetting(
                                                                set, input.path(), &created));
                FUZZ_CHECK((code == 0) == (created != nullptr));
                if (created != nullptr && settings.size() < 8) {
                    settings.push_back(created);
                } else if (created != nullptr) {
                    FUZZ_CHECK(Setting_releaseInstance(created) == 0);
                }
                break;
            case 4:
                checked(set, input.byte() % 2 == 0
                                 ? ConfigurationSet_removeAllSettings(set)
                                 : ConfigurationSet_removeSetting(set, input.path()));
                break;
            case 5:
                roundTrip(set, input.pick(sets));
                enumerate(set);
                break;
            default:
                if (setting != nullptr && input.byte() % 2 == 0) {
                    FUZZ_CHECK(Setting_releaseInstance(setting) == 0);
                    settings.erase(std::find(settings.begin(), settings.end(), setting));
                } else if (set != nullptr) {
                    FUZZ_CHECK(ConfigurationSet_releaseInstance(set) == 0);
                    sets.erase(std::find(sets.begin(), sets.end(), set));
                }
        }
    }
    for (void* set : sets) {
        FUZZ_CHECK(ConfigurationSet_releaseInstance(set) == 0);
    }
    for (void* setting : settings) {
        FUZZ_CHECK(Setting_releaseInstance(setting) == 0);
    }
    return 0;
}
