// Decodes the input into a sequence of flat C calls on a few set and setting handles: creation,
// typing, values of every kind, insertion, lookup, enumeration, removal, both serialised forms,
// comparison and release.
//
// Invariants: every call returns one of the documented codes; no exception escapes (it would
// abort the process); counts agree with enumeration; a binary set's form read into a fresh set
// writes the same form again; every handle is released at the end, so the leak checker sees
// every object freed.
#include <cstdint>
#include <cstring>
#include <vector>

#include <orvandel/configuration/ConfigurationAPI.h>

#include "FuzzSupport.h"

namespace {

const char* const kSetTypes[] = {"BinaryConfigurationSet", "XMLConfigurationSet",
                                 "ConfigurationSet", "NoSuchType"};

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

void checkCode(uint32_t code) {
    FUZZ_CHECK(code <= ConfigurationResult_settingExistsAtPath);
}

class Driver {
  public:
    explicit Driver(Input& input) : d_input(input), d_sets(), d_settings() {}

    ~Driver() {
        for (void* set : d_sets) {
            FUZZ_CHECK(ConfigurationSet_releaseInstance(set) == 0);
        }
        for (void* setting : d_settings) {
            FUZZ_CHECK(Setting_releaseInstance(setting) == 0);
        }
    }

    void step() {
        switch (d_input.byte() % 16) {
            case 0:
                return createSet();
            case 1:
                return createSetting();
            case 2:
                return checkCode(Setting_initialize(setting(), d_input.byte() % 16));
            case 3:
                return setValue();
            case 4:
                return getValue();
            case 5:
                return checkCode(
                    ConfigurationSet_insertSetting(set(), d_input.text().data(), setting()));
            case 6:
                return retrieve();
            case 7:
                return retrieveByIndex();
            case 8:
                return checkCode(ConfigurationSet_removeSetting(set(), d_input.text().data()));
            case 9:
                return checkCode(ConfigurationSet_removeAllSettings(set()));
            case 10:
                return roundTrip();
            case 11:
                return binary();
            case 12:
                return compare();
            case 13:
                return release();
            case 14:
                return queries();
            default:
                return strings();
        }
    }

  private:
    // A handle from the pool, or null now and then (every function must refuse it cleanly).
    void* set() {
        const uint8_t pick = d_input.byte();
        return d_sets.empty() || pick == 255 ? nullptr : d_sets[pick % d_sets.size()];
    }
    void* setting() {
        const uint8_t pick = d_input.byte();
        return d_settings.empty() || pick == 255 ? nullptr : d_settings[pick % d_settings.size()];
    }

    void createSet() {
        if (d_sets.size() >= 4) {
            return;
        }
        void* created = nullptr;
        const char* type = kSetTypes[d_input.byte() % 4];
        const uint32_t code = ConfigurationSetFactory_createConfigurationSet(
            reinterpret_cast<const unsigned char*>(type), &created);
        FUZZ_CHECK(code == 0 || code == ConfigurationResult_unsupportedType);
        FUZZ_CHECK((code == 0) == (created != nullptr));
        if (created != nullptr) {
            d_sets.push_back(created);
        }
    }

    void createSetting() {
        if (d_settings.size() >= 8) {
            return;
        }
        void* created = nullptr;
        FUZZ_CHECK(ConfigurationSetFactory_createSetting(&created) == 0);
        d_settings.push_back(created);
    }

    void setValue() {
        void* target = setting();
        const uint32_t value = d_input.number();
        switch (d_input.byte() % 11) {
            case 0:
                return checkCode(Setting_setBoolean(target, value));
            case 1:
                return checkCode(Setting_setUCHAR(target, static_cast<unsigned char>(value)));
            case 2:
                return checkCode(Setting_setUINT16(target, static_cast<uint16_t>(value)));
            case 3:
                return checkCode(Setting_setUINT32(target, value));
            case 4:
                return checkCode(Setting_setUINT64(target, (uint64_t(value) << 32) | value));
            case 5:
                return checkCode(Setting_setCHAR(target, static_cast<signed char>(value)));
            case 6:
                return checkCode(Setting_setINT16(target, static_cast<int16_t>(value)));
            case 7:
                return checkCode(Setting_setINT32(target, static_cast<int32_t>(value)));
            case 8:
                return checkCode(Setting_setINT64(target, -static_cast<int64_t>(value)));
            case 9: {
                float number;
                std::memcpy(&number, &value, sizeof number);
                return checkCode(Setting_setFLOAT(target, number));
            }
            default:
                return checkCode(Setting_setDOUBLE(target, static_cast<double>(value) / 7));
        }
    }

    void getValue() {
        void* target = setting();
        union {
            uint32_t b;
            unsigned char u8;
            uint16_t u16;
            uint32_t u32;
            uint64_t u64;
            signed char i8;
            int16_t i16;
            int32_t i32;
            int64_t i64;
            float f;
            double d;
        } value;
        switch (d_input.byte() % 11) {
            case 0:
                return checkCode(Setting_getBoolean(target, &value.b));
            case 1:
                return checkCode(Setting_getUCHAR(target, &value.u8));
            case 2:
                return checkCode(Setting_getUINT16(target, &value.u16));
            case 3:
                return checkCode(Setting_getUINT32(target, &value.u32));
            case 4:
                return checkCode(Setting_getUINT64(target, &value.u64));
            case 5:
                return checkCode(Setting_getCHAR(target, &value.i8));
            case 6:
                return checkCode(Setting_getINT16(target, &value.i16));
            case 7:
                return checkCode(Setting_getINT32(target, &value.i32));
            case 8:
                return checkCode(Setting_getINT64(target, &value.i64));
            case 9:
                return checkCode(Setting_getFLOAT(target, &value.f));
            default:
                return checkCode(Setting_getDOUBLE(target, &value.d));
        }
    }

    void retrieve() {
        void* found = nullptr;
        const uint32_t code =
            ConfigurationSet_retrieveSetting(set(), d_input.text().data(), &found);
        checkCode(code);
        adopt(code, found);
    }

    void retrieveByIndex() {
        void* found = nullptr;
        unsigned char path[8];
        uint32_t required = 0;
        const uint32_t capacity = d_input.byte() % (sizeof path + 1);
        const uint32_t code = ConfigurationSet_retrieveSettingByIndex(
            set(), d_input.text().data(), d_input.byte() % 8, &found,
            capacity == 0 ? nullptr : path, capacity, &required);
        checkCode(code);
        if (code == 0 && required <= capacity) {
            FUZZ_CHECK(std::strlen(reinterpret_cast<const char*>(path)) + 1 == required);
        }
        adopt(code, found);
    }

    // Keeps a handle the library handed out, or releases it when the pool is full.
    void adopt(uint32_t code, void* handle) {
        FUZZ_CHECK((code == 0) == (handle != nullptr));
        if (handle == nullptr) {
            return;
        }
        if (d_settings.size() < 8) {
            d_settings.push_back(handle);
        } else {
            FUZZ_CHECK(Setting_releaseInstance(handle) == 0);
        }
    }

    // Serialises one set through the buffer protocol and reads the form into another.
    void roundTrip() {
        void* source = set();
        void* target = set();
        uint32_t length = 0;
        uint32_t code = ConfigurationSet_serialize(source, nullptr, 0, &length);
        checkCode(code);
        if (code != 0 && code != ConfigurationResult_outBufferTooSmall) {
            return;
        }
        std::vector<unsigned char> form(length + 1);
        uint32_t written = 0;
        code = ConfigurationSet_serialize(source, form.data(), length, &written);
        checkCode(code);
        if (code != 0) {
            return;
        }
        FUZZ_CHECK(written == length);
        checkCode(ConfigurationSet_unserialize(target, form.data(), written));
        checkFreshCopy(source, form, written);
    }

    // A binary form read into a fresh binary set writes the same form again.
    void checkFreshCopy(void* source, const std::vector<unsigned char>& form, uint32_t length) {
        unsigned char type[32];
        uint32_t required = 0;
        if (ConfigurationSet_getType(source, type, sizeof type, &required) != 0 ||
            std::strcmp(reinterpret_cast<const char*>(type), "BinaryConfigurationSet") != 0) {
            return;
        }
        void* copy = nullptr;
        FUZZ_CHECK(ConfigurationSetFactory_createConfigurationSet(type, &copy) == 0);
        FUZZ_CHECK(ConfigurationSet_unserialize(copy, form.data(), length) == 0);
        std::vector<unsigned char> again(length + 1);
        uint32_t written = 0;
        FUZZ_CHECK(ConfigurationSet_serialize(copy, again.data(), length, &written) == 0);
        FUZZ_CHECK(written == length && std::memcmp(again.data(), form.data(), length) == 0);
        FUZZ_CHECK(ConfigurationSet_releaseInstance(copy) == 0);
    }

    void binary() {
        void* target = setting();
        uint32_t length = d_input.byte() % 40;
        unsigned char bytes[64];
        std::memset(bytes, d_input.byte(), sizeof bytes);
        switch (d_input.byte() % 4) {
            case 0:
                return checkCode(Setting_resizeBinaryBuffer(target, &length));
            case 1:
                return checkCode(Setting_setBinaryBuffer(target, bytes, length));
            case 2: {
                uint32_t required = 0;
                return checkCode(Setting_getBinaryBuffer(target, length == 0 ? nullptr : bytes,
                                                         length, &required));
            }
            default:
                return checkCode(Setting_getBinaryLength(target, &length));
        }
    }

    void strings() {
        void* target = setting();
        if (d_input.byte() % 2 == 0) {
            const std::vector<unsigned char> text = d_input.text();
            checkCode(Setting_setString(target, text.data()));
            unsigned char copy[8];
            uint32_t required = 0;
            checkCode(Setting_getString(target, copy, d_input.byte() % 9, &required));
        } else {
            const std::vector<unsigned char> text = d_input.text();
            std::vector<wchar_t> wide(text.begin(), text.end());
            wide.back() = L'\U0001F600';
            wide.push_back(0);
            checkCode(Setting_setUnicodeString(target, wide.data()));
            wchar_t copy[8];
            uint32_t required = 0;
            checkCode(Setting_getUnicodeString(target, copy, d_input.byte() % 9, &required));
        }
    }

    void compare() {
        bool equal = false;
        if (d_input.byte() % 2 == 0) {
            checkCode(ConfigurationSet_equals(set(), set(), &equal));
        } else {
            checkCode(Setting_equals(setting(), setting(), &equal));
        }
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
        checkCode(ConfigurationSet_capLoadAndSave(target, &flag));
        checkCode(ConfigurationSet_capSerialize(target, &flag));
        checkCode(ConfigurationSet_checkModified(target, &flag));
        if (ConfigurationSet_getSettingCount(target, &count) != 0) {
            return;
        }
        uint32_t enumerated = 0;
        for (;; ++enumerated) {
            void* found = nullptr;
            uint32_t required = 0;
            const uint32_t code = ConfigurationSet_retrieveSettingByIndex(
                target, reinterpret_cast<const unsigned char*>(""), enumerated, &found, nullptr, 0,
                &required);
            if (code != 0) {
                FUZZ_CHECK(code == ConfigurationResult_noSettingAtPath);
                break;
            }
            FUZZ_CHECK(Setting_releaseInstance(found) == 0);
        }
        FUZZ_CHECK(enumerated == count);
        unsigned char message[64];
        uint32_t required = 0;
        checkCode(Configuration_getLastErrorMessage(message, sizeof message, &required));
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
