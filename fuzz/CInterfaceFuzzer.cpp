// Decodes the input into a sequence of flat C calls on a few set and setting handles: creation,
// typing, values of every kind, insertion, lookup, enumeration, removal, both serialised forms,
// comparison and release.
//
// Invariants: every call returns one of the documented codes, and 1 for a null handle; no
// exception escapes (it would abort the process); a failed getter leaves its output alone; counts
// agree with enumeration; a form is written at the length reported; every handle is released at the
// end, so the leak checker sees every object freed.
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include <orvandel/configuration/ConfigurationAPI.h>

#include "FuzzSupport.h"

namespace {

const char* const kSetTypes[] = {"BinaryConfigurationSet", "XMLConfigurationSet",
                                 "ConfigurationSet", "NoSuchType"};

const unsigned char* u(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

// Reads the input a byte (or a few) at a time; past the end everything reads as zero.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : d_data(data), d_size(size), d_position(0) {}

    bool atEnd() const { return d_position >= d_size; }

    uint8_t byte() { return d_position < d_size ? d_data[d_position++] : 0; }

    uint32_t number() {
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            value = (value << 8) | byte();
        }
        return value;
    }

    // A short NUL-terminated text from a small alphabet, so paths collide and nest.
    std::vector<unsigned char> text() {
        static const char kAlphabet[] = "ab/c\xc3\xa9x";
        std::vector<unsigned char> text;
        for (uint8_t length = byte() % 6; length > 0; --length) {
            text.push_back(static_cast<unsigned char>(kAlphabet[byte() % (sizeof kAlphabet - 1)]));
        }
        text.push_back(0);
        return text;
    }

  private:
    const uint8_t* d_data;
    size_t d_size;
    size_t d_position;
};

// A call returns a documented code, and 1 when one of its handles was null.
uint32_t checked(bool handlesPresent, uint32_t code) {
    FUZZ_CHECK(code <= ConfigurationResult_settingExistsAtPath);
    FUZZ_CHECK(handlesPresent || code == ConfigurationResult_badArgument);
    return code;
}

// A getter of T: on failure the caller's value is left as it was.
template <class T>
std::function<void(void*)> getter(uint32_t (*get)(void*, T*)) {
    return [get](void* setting) {
        T value;
        std::memset(&value, 0xA5, sizeof value);
        T before = value;
        if (checked(setting, get(setting, &value)) != 0) {
            FUZZ_CHECK(std::memcmp(&value, &before, sizeof value) == 0);
        }
    };
}

class Driver {
  public:
    explicit Driver(Input& input) : d_input(input) {}

    ~Driver() {
        for (void* set : d_sets) {
            FUZZ_CHECK(ConfigurationSet_releaseInstance(set) == 0);
        }
        for (void* setting : d_settings) {
            FUZZ_CHECK(Setting_releaseInstance(setting) == 0);
        }
    }

    void step() {
        using Operation = void (Driver::*)();
        static const Operation kOperations[16] = {
            &Driver::createSet, &Driver::createSetting,   &Driver::initialize,
            &Driver::setValue,  &Driver::getValue,        &Driver::insert,
            &Driver::retrieve,  &Driver::retrieveByIndex, &Driver::remove,
            &Driver::removeAll, &Driver::roundTrip,       &Driver::binary,
            &Driver::compare,   &Driver::release,         &Driver::queries,
            &Driver::strings};
        (this->*kOperations[d_input.byte() % 16])();
    }

  private:
    // A handle from the pool, or null now and then (every function must refuse it cleanly).
    void* pick(const std::vector<void*>& pool) {
        const uint8_t choice = d_input.byte();
        return pool.empty() || choice == 255 ? nullptr : pool[choice % pool.size()];
    }
    void* set() { return pick(d_sets); }
    void* setting() { return pick(d_settings); }

    void initialize() {
        void* target = setting();
        checked(target, Setting_initialize(target, d_input.byte() % 16));
    }

    void getValue() {
        void* target = setting();
        getters()[d_input.byte() % 11](target);
    }

    // A second insertion at the same path is refused.
    void insert() {
        void* target = set();
        const std::vector<unsigned char> path = d_input.text();
        void* inserted = setting();
        if (checked(target && inserted,
                    ConfigurationSet_insertSetting(target, path.data(), inserted)) == 0) {
            FUZZ_CHECK(ConfigurationSet_insertSetting(target, path.data(), inserted) ==
                       ConfigurationResult_settingExistsAtPath);
        }
    }

    void remove() {
        void* target = set();
        checked(target, ConfigurationSet_removeSetting(target, d_input.text().data()));
    }

    void removeAll() {
        void* target = set();
        checked(target, ConfigurationSet_removeAllSettings(target));
    }

    static const std::vector<std::function<void(void*)>>& getters() {
        static const std::vector<std::function<void(void*)>> sd_getters{
            getter(Setting_getBoolean), getter(Setting_getUCHAR),  getter(Setting_getUINT16),
            getter(Setting_getUINT32),  getter(Setting_getUINT64), getter(Setting_getCHAR),
            getter(Setting_getINT16),   getter(Setting_getINT32),  getter(Setting_getINT64),
            getter(Setting_getFLOAT),   getter(Setting_getDOUBLE)};
        return sd_getters;
    }

    void createSet() {
        void* created = nullptr;
        if (d_sets.size() < 4) {
            const uint32_t code = ConfigurationSetFactory_createConfigurationSet(
                u(kSetTypes[d_input.byte() % 4]), &created);
            FUZZ_CHECK(code == 0 || code == ConfigurationResult_unsupportedType);
            adopt(code, created, d_sets, 4);
        }
    }

    void createSetting() {
        void* created = nullptr;
        if (d_settings.size() < 8) {
            const uint32_t code = ConfigurationSetFactory_createSetting(&created);
            adopt(code, created, d_settings, 8);
        }
    }

    void setValue() {
        void* target = setting();
        const uint32_t value = d_input.number();
        float single;
        std::memcpy(&single, &value, sizeof single);
        const uint32_t codes[] = {Setting_setBoolean(target, value),
                                  Setting_setUCHAR(target, static_cast<unsigned char>(value)),
                                  Setting_setUINT16(target, static_cast<uint16_t>(value)),
                                  Setting_setUINT32(target, value),
                                  Setting_setUINT64(target, (uint64_t(value) << 32) | value),
                                  Setting_setCHAR(target, static_cast<signed char>(value)),
                                  Setting_setINT16(target, static_cast<int16_t>(value)),
                                  Setting_setINT32(target, static_cast<int32_t>(value)),
                                  Setting_setINT64(target, -static_cast<int64_t>(value)),
                                  Setting_setFLOAT(target, single),
                                  Setting_setDOUBLE(target, static_cast<double>(value) / 7)};
        // Exactly the setter of the setting's own type succeeds.
        uint32_t successes = 0;
        for (const uint32_t code : codes) {
            successes += checked(target, code) == 0 ? 1 : 0;
        }
        uint32_t type = 0;
        if (Setting_getType(target, &type) == 0) {
            FUZZ_CHECK(successes == (type <= ConfigurationSettingType_double ? 1u : 0u));
        }
        d_input.byte();
    }

    void retrieve() {
        void* from = set();
        void* found = nullptr;
        const uint32_t code = ConfigurationSet_retrieveSetting(from, d_input.text().data(), &found);
        adopt(checked(from, code), found, d_settings, 8);
    }

    void retrieveByIndex() {
        void* from = set();
        void* found = nullptr;
        unsigned char path[8];
        uint32_t required = 0;
        const uint32_t capacity = d_input.byte() % (sizeof path + 1);
        const uint32_t code = ConfigurationSet_retrieveSettingByIndex(
            from, d_input.text().data(), d_input.byte() % 8, &found, capacity == 0 ? nullptr : path,
            capacity, &required);
        if (checked(from, code) == 0 && required <= capacity) {
            FUZZ_CHECK(std::strlen(reinterpret_cast<const char*>(path)) + 1 == required);
        }
        adopt(code, found, d_settings, 8);
    }

    // Keeps a handle the library handed out, or releases it when the pool is full.
    void adopt(uint32_t code, void* handle, std::vector<void*>& pool, size_t limit) {
        FUZZ_CHECK((code == 0) == (handle != nullptr));
        if (handle != nullptr && pool.size() < limit) {
            pool.push_back(handle);
        } else if (handle != nullptr) {
            FUZZ_CHECK(Setting_releaseInstance(handle) == 0);
        }
    }

    // Serialises one set through the buffer protocol and reads the form into another.
    void roundTrip() {
        void* source = set();
        void* target = set();
        uint32_t length = 0;
        uint32_t code = checked(source, ConfigurationSet_serialize(source, nullptr, 0, &length));
        if (code != 0 && code != ConfigurationResult_outBufferTooSmall) {
            return;
        }
        std::vector<unsigned char> form(length + 1);
        uint32_t written = 0;
        if (checked(source, ConfigurationSet_serialize(source, form.data(), length, &written)) ==
            0) {
            FUZZ_CHECK(written == length);
            checked(target, ConfigurationSet_unserialize(target, form.data(), written));
        }
    }

    void binary() {
        void* target = setting();
        uint32_t length = d_input.byte() % 40;
        unsigned char bytes[64];
        std::memset(bytes, d_input.byte(), sizeof bytes);
        uint32_t required = 0;
        const uint8_t which = d_input.byte() % 4;
        checked(target, which == 0   ? Setting_resizeBinaryBuffer(target, &length)
                        : which == 1 ? Setting_setBinaryBuffer(target, bytes, length)
                        : which == 2 ? Setting_getBinaryBuffer(
                                           target, length == 0 ? nullptr : bytes, length, &required)
                                     : Setting_getBinaryLength(target, &length));
    }

    void strings() {
        void* target = setting();
        const bool narrow = d_input.byte() % 2 == 0;
        const std::vector<unsigned char> text = d_input.text();
        uint32_t required = 0;
        if (narrow) {
            checked(target, Setting_setString(target, text.data()));
            unsigned char copy[8];
            checked(target, Setting_getString(target, copy, d_input.byte() % 9, &required));
        } else {
            std::vector<wchar_t> wide(text.begin(), text.end());
            wide.back() = L'\U0001F600';
            wide.push_back(0);
            checked(target, Setting_setUnicodeString(target, wide.data()));
            wchar_t copy[8];
            checked(target, Setting_getUnicodeString(target, copy, d_input.byte() % 9, &required));
        }
    }

    void compare() {
        bool equal = false;
        const bool sets = d_input.byte() % 2 == 0;
        void* one = sets ? set() : setting();
        void* other = sets ? set() : setting();
        checked(one && other,
                (sets ? ConfigurationSet_equals : Setting_equals)(one, other, &equal));
    }

    void release() {
        std::vector<void*>& pool = d_input.byte() % 2 == 0 ? d_sets : d_settings;
        if (pool.empty()) {
            return;
        }
        const size_t index = d_input.byte() % pool.size();
        const uint32_t code = &pool == &d_sets ? ConfigurationSet_releaseInstance(pool[index])
                                               : Setting_releaseInstance(pool[index]);
        FUZZ_CHECK(code == 0);
        pool.erase(pool.begin() + static_cast<std::ptrdiff_t>(index));
    }

    // The set's simple queries, and its count against enumeration.
    void queries() {
        void* target = set();
        bool flag = false;
        uint32_t count = 0;
        checked(target, ConfigurationSet_capLoadAndSave(target, &flag));
        checked(target, ConfigurationSet_capSerialize(target, &flag));
        checked(target, ConfigurationSet_checkModified(target, &flag));
        if (checked(target, ConfigurationSet_getSettingCount(target, &count)) != 0) {
            return;
        }
        uint32_t enumerated = 0;
        for (uint32_t code = 0;; ++enumerated) {
            void* found = nullptr;
            uint32_t required = 0;
            code = ConfigurationSet_retrieveSettingByIndex(target, u(""), enumerated, &found,
                                                           nullptr, 0, &required);
            if (code != 0) {
                FUZZ_CHECK(code == ConfigurationResult_noSettingAtPath);
                break;
            }
            FUZZ_CHECK(Setting_releaseInstance(found) == 0);
        }
        FUZZ_CHECK(enumerated == count);
        unsigned char message[64];
        uint32_t required = 0;
        checked(true, Configuration_getLastErrorMessage(message, sizeof message, &required));
    }

    Input& d_input;
    std::vector<void*> d_sets;
    std::vector<void*> d_settings;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    Driver driver(input);
    for (int steps = 0; steps < 256 && !input.atEnd(); ++steps) {
        driver.step();
    }
    return 0;
}
