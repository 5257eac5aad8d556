// The flat C interface: each function states its arguments, what the call is about and the one
// operation it performs; the checks, the counted handle and the failure handling are the call
// frame's (ApiCallFrame.h).
#include <orvandel/configuration/ConfigurationAPI.h>

#include <algorithm>
#include <cstring>
#include <string>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/ISetting.h>
#include <orvandel/configuration/internal/ApiBuffers.h>
#include <orvandel/configuration/internal/ApiCallFrame.h>
#include <orvandel/configuration/internal/ApiFailure.h>

using com::orvandel::AutoRefCounted;
using com::orvandel::make_autorefcounted_this;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;
using namespace com::orvandel::configuration::api;

namespace {

const uint32_t settingTypeCount = 14;

template <class T>
uint32_t getScalar(const char* function, void* instance, T* value) {
    return callOn<SettingFamily>(Subject(function), instance, {required("value", value)},
                                 [&](ISetting& setting) { setting.getValue(value); });
}

template <class T>
uint32_t setScalar(const char* function, void* instance, T value) {
    return callOn<SettingFamily>(Subject(function), instance, {},
                                 [&](ISetting& setting) { setting.setValue(value); });
}

// Copies text out by the output-buffer protocol; text that does not fit ends the call with 6.
template <class Char, class Element>
void copyTextOut(const std::basic_string<Char>& text, Element* buffer, uint32_t capacity,
                 uint32_t* reqLength) {
    if (!copyText(text, buffer, capacity, reqLength)) {
        throw BufferTooSmall{*reqLength, capacity};
    }
}

// A copy of the setting's text value (narrow or wide), by the output-buffer protocol.
template <class Char, class Element>
uint32_t getText(const char* function, void* instance, Element* value, uint32_t bufLength,
                 uint32_t* reqLength) {
    return callOn<SettingFamily>(
        Subject(function), instance,
        {optionalBuffer("value", value, bufLength), required("reqLength", reqLength)},
        [&](ISetting& setting) {
            const std::basic_string<Char>* text = nullptr;
            setting.getValue(&text);
            copyTextOut(*text, value, bufLength, reqLength);
        });
}

template <class Char>
uint32_t setText(const char* function, void* instance, const Char* value) {
    return callOn<SettingFamily>(
        Subject(function), instance, {required("value", value)},
        [&](ISetting& setting) { setting.setValue(std::basic_string<Char>(value)); });
}

// An object handed out through the caller's pointer: *out carries one reference for the
// caller, taken from the handle of the operation that produced it.
template <class T>
void handOut(const AutoRefCounted<T>& object, void** out) {
    *out = object.get();
}

}  // namespace

extern "C" {

uint32_t Configuration_getLastErrorMessage(unsigned char* buffer, uint32_t bufLength,
                                           uint32_t* reqLength) {
    // Reading the message must not replace it, so this function records nothing itself.
    if ((buffer == nullptr && bufLength != 0) || reqLength == nullptr) {
        return ConfigurationResult_badArgument;
    }
    return copyText(lastErrorMessage(), buffer, bufLength, reqLength)
               ? ConfigurationResult_success
               : ConfigurationResult_outBufferTooSmall;
}

// ---- Factory ----------------------------------------------------------------------------

uint32_t ConfigurationSetFactory_createConfigurationSet(const unsigned char* type,
                                                        void** instance) {
    return callFactory(
        Subject(__func__), {required("type", type), required("instance", instance)}, [&] {
            handOut(getConfigurationSetFactory()->createConfigurationSet(chars(type)), instance);
        });
}

uint32_t ConfigurationSetFactory_createSetting(void** instance) {
    return callFactory(Subject(__func__), {required("instance", instance)},
                       [&] { handOut(getConfigurationSetFactory()->createSetting(), instance); });
}

// ---- Configuration sets -----------------------------------------------------------------

uint32_t ConfigurationSet_getType(void* instance, unsigned char* buffer, uint32_t bufLength,
                                  uint32_t* reqLength) {
    return callOn<SetFamily>(
        Subject(__func__), instance,
        {required("reqLength", reqLength), optionalBuffer("buffer", buffer, bufLength)},
        [&](IConfigurationSet& set) { copyTextOut(*set.getType(), buffer, bufLength, reqLength); });
}

uint32_t ConfigurationSet_capLoadAndSave(void* instance, bool* capLoadAndSave) {
    return callOn<SetFamily>(
        Subject(__func__), instance, {required("capLoadAndSave", capLoadAndSave)},
        [&](IConfigurationSet& set) { *capLoadAndSave = set.capLoadAndSave(); });
}

uint32_t ConfigurationSet_load(void* instance, const unsigned char* filePath) {
    return callOn<SetFamily>(Subject(__func__), instance, {required("filePath", filePath)},
                             [&](IConfigurationSet& set) { set.load(chars(filePath)); });
}

uint32_t ConfigurationSet_save(void* instance, const unsigned char* filePath) {
    return callOn<SetFamily>(Subject(__func__), instance, {required("filePath", filePath)},
                             [&](IConfigurationSet& set) { set.save(chars(filePath)); });
}

uint32_t ConfigurationSet_capSerialize(void* instance, bool* capSerialize) {
    return callOn<SetFamily>(Subject(__func__), instance, {required("capSerialize", capSerialize)},
                             [&](IConfigurationSet& set) { *capSerialize = set.capSerialize(); });
}

uint32_t ConfigurationSet_unserialize(void* instance, const unsigned char* in, uint32_t inLength) {
    return callOn<SetFamily>(Subject(__func__), instance, {required("in", in)},
                             [&](IConfigurationSet& set) { set.unserialize(in, inLength); });
}

uint32_t ConfigurationSet_serialize(void* instance, unsigned char* out, uint32_t outLength,
                                    uint32_t* reqLength) {
    return callOn<SetFamily>(
        Subject(__func__), instance,
        {required("reqLength", reqLength), optionalBuffer("out", out, outLength)},
        [&](IConfigurationSet& set) {
            size_t length = *reqLength;
            try {
                set.serialize(out, outLength, &length);
            } catch (IConfigurationSet::ConfigurationSetException exception) {
                if (exception != IConfigurationSet::outBufferTooSmallException) {
                    throw;
                }
                *reqLength = requiredLength(length);
                throw BufferTooSmall{requiredLength(length), outLength};
            }
            *reqLength = requiredLength(length);
        });
}

uint32_t ConfigurationSet_checkModified(void* instance, bool* modified) {
    return callOn<SetFamily>(Subject(__func__), instance, {required("modified", modified)},
                             [&](IConfigurationSet& set) { *modified = set.checkModified(); });
}

uint32_t ConfigurationSet_retrieveSetting(void* instance, const unsigned char* path,
                                          void** setting) {
    return callOn<SetFamily>(
        Subject(__func__), instance, {required("path", path), required("setting", setting)},
        [&](IConfigurationSet& set) { handOut(set.retrieveSetting(pathArgument(path)), setting); });
}

uint32_t ConfigurationSet_retrieveSettingByIndex(void* instance, const unsigned char* branch,
                                                 uint32_t index, void** setting,
                                                 unsigned char* path,
                                                 uint32_t pathBufferLengthCharsInclNULL,
                                                 uint32_t* reqPathBufferLengthCharsInclNULL) {
    return callOn<SetFamily>(
        Subject(__func__), instance,
        {required("branch", branch), required("setting", setting),
         optionalBuffer("path", path, pathBufferLengthCharsInclNULL),
         required("reqPathBufferLengthCharsInclNULL", reqPathBufferLengthCharsInclNULL)},
        [&](IConfigurationSet& set) {
            std::string foundPath;
            const AutoRefCounted<ISetting> found =
                set.retrieveSettingByIndex(pathArgument(branch), index, foundPath);
            // A path that does not fit is not an error: the caller learns the length it needs
            // and receives the setting all the same.
            copyText(foundPath, path, pathBufferLengthCharsInclNULL,
                     reqPathBufferLengthCharsInclNULL);
            handOut(found, setting);
        });
}

uint32_t ConfigurationSet_insertSetting(void* instance, const unsigned char* path,
                                        void* settingInstance) {
    return callOn<SetFamily>(
        Subject(__func__), instance,
        {required("path", path), required("settingInstance", settingInstance)},
        [&](IConfigurationSet& set) {
            set.insertSetting(chars(path),
                              make_autorefcounted_this(static_cast<ISetting*>(settingInstance)));
        });
}

uint32_t ConfigurationSet_getSettingCount(void* instance, uint32_t* count) {
    return callOn<SetFamily>(Subject(__func__), instance, {required("count", count)},
                             [&](IConfigurationSet& set) { *count = cut(set.getSettingCount()); });
}

uint32_t ConfigurationSet_removeSetting(void* instance, const unsigned char* path) {
    return callOn<SetFamily>(
        Subject(__func__), instance, {required("path", path)},
        [&](IConfigurationSet& set) { set.removeSetting(pathArgument(path)); });
}

uint32_t ConfigurationSet_removeAllSettings(void* instance) {
    return callOn<SetFamily>(Subject(__func__), instance, {},
                             [&](IConfigurationSet& set) { set.removeAllSettings(); });
}

uint32_t ConfigurationSet_equals(void* instance, void* anotherInstance, bool* equallity) {
    return callOn<SetFamily>(
        Subject(__func__), instance,
        {required("anotherInstance", anotherInstance), required("equallity", equallity)},
        [&](IConfigurationSet& set) {
            *equallity = set.equals(make_autorefcounted_this(static_cast<const IConfigurationSet*>(
                static_cast<IConfigurationSet*>(anotherInstance))));
        });
}

uint32_t ConfigurationSet_releaseInstance(void* instance) {
    return releaseInstance<IConfigurationSet>(Subject(__func__), instance);
}

// ---- Settings ---------------------------------------------------------------------------

uint32_t Setting_initialize(void* instance, uint32_t mappedType) {
    return callOn<SettingFamily>(Subject(__func__), instance, {}, [&](ISetting& setting) {
        if (mappedType == 0 || mappedType > settingTypeCount) {
            throw TypeCodeOutOfRange{mappedType};
        }
        setting.initialize(static_cast<ISetting::Type>(mappedType - 1));
    });
}

uint32_t Setting_getType(void* instance, uint32_t* mappedType) {
    return callOn<SettingFamily>(
        Subject(__func__), instance, {required("mappedType", mappedType)},
        [&](ISetting& setting) { *mappedType = static_cast<uint32_t>(setting.getType()) + 1; });
}

uint32_t Setting_equals(void* instance, void* anotherInstance, bool* equallity) {
    return callOn<SettingFamily>(
        Subject(__func__), instance,
        {required("anotherInstance", anotherInstance), required("equallity", equallity)},
        [&](ISetting& setting) {
            *equallity = setting.equals(make_autorefcounted_this(
                static_cast<const ISetting*>(static_cast<ISetting*>(anotherInstance))));
        });
}

uint32_t Setting_releaseInstance(void* instance) {
    return releaseInstance<ISetting>(Subject(__func__), instance);
}

uint32_t Setting_getBoolean(void* instance, uint32_t* value) {
    return callOn<SettingFamily>(Subject(__func__), instance, {required("value", value)},
                                 [&](ISetting& setting) {
                                     bool held = false;
                                     setting.getValue(&held);
                                     *value = held ? 1 : 0;
                                 });
}

uint32_t Setting_setBoolean(void* instance, uint32_t value) {
    return setScalar(__func__, instance, value != 0);
}

// Each scalar type has a getter and a setter of the same shape.
#define ORVANDEL_SCALAR_FUNCTIONS(SUFFIX, T, TYPE)           \
    uint32_t Setting_get##SUFFIX(void* instance, T* value) { \
        return getScalar(__func__, instance, value);         \
    }                                                        \
    uint32_t Setting_set##SUFFIX(void* instance, T value) {  \
        return setScalar(__func__, instance, value);         \
    }

ORVANDEL_SCALAR_FUNCTIONS(UCHAR, unsigned char, ucharType)
ORVANDEL_SCALAR_FUNCTIONS(UINT16, uint16_t, uint16Type)
ORVANDEL_SCALAR_FUNCTIONS(UINT32, uint32_t, uint32Type)
ORVANDEL_SCALAR_FUNCTIONS(UINT64, uint64_t, uint64Type)
ORVANDEL_SCALAR_FUNCTIONS(CHAR, signed char, charType)
ORVANDEL_SCALAR_FUNCTIONS(INT16, int16_t, int16Type)
ORVANDEL_SCALAR_FUNCTIONS(INT32, int32_t, int32Type)
ORVANDEL_SCALAR_FUNCTIONS(INT64, int64_t, int64Type)
ORVANDEL_SCALAR_FUNCTIONS(FLOAT, float, floatType)
ORVANDEL_SCALAR_FUNCTIONS(DOUBLE, double, doubleType)

#undef ORVANDEL_SCALAR_FUNCTIONS

uint32_t Setting_getString(void* instance, unsigned char* value, uint32_t bufLength,
                           uint32_t* reqLength) {
    return getText<char>(__func__, instance, value, bufLength, reqLength);
}

uint32_t Setting_setString(void* instance, const unsigned char* value) {
    return setText(__func__, instance, chars(value));
}

uint32_t Setting_getUnicodeString(void* instance, wchar_t* value, uint32_t bufLength,
                                  uint32_t* reqLength) {
    return getText<wchar_t>(__func__, instance, value, bufLength, reqLength);
}

uint32_t Setting_setUnicodeString(void* instance, const wchar_t* value) {
    return setText(__func__, instance, value);
}

uint32_t Setting_getBinaryBuffer(void* instance, unsigned char* binary, uint32_t bufLength,
                                 uint32_t* reqLength) {
    return callOn<SettingFamily>(
        Subject(__func__), instance,
        {optionalBuffer("binary", binary, bufLength), required("reqLength", reqLength)},
        [&](ISetting& setting) {
            const unsigned char* data = nullptr;
            size_t length = 0;
            setting.getLockedBinaryBuffer(&data, &length);
            *reqLength = requiredLength(length);
            if (!fits(length, bufLength)) {
                throw BufferTooSmall{*reqLength, bufLength};
            }
            if (length != 0) {
                std::memcpy(binary, data, length);
            }
        });
}

uint32_t Setting_setBinaryBuffer(void* instance, unsigned char* binary, uint32_t bufLength) {
    return callOn<SettingFamily>(
        Subject(__func__), instance, {required("binary", binary)}, [&](ISetting& setting) {
            unsigned char* data = nullptr;
            size_t length = 0;
            setting.getBinaryBuffer(&data, &length);
            const size_t copied = std::min(static_cast<size_t>(bufLength), length);
            if (copied != 0) {
                std::memcpy(data, binary, copied);
            }
        });
}

uint32_t Setting_getBinaryLength(void* instance, uint32_t* binaryLength) {
    return callOn<SettingFamily>(Subject(__func__), instance,
                                 {required("binaryLength", binaryLength)}, [&](ISetting& setting) {
                                     size_t length = *binaryLength;
                                     setting.getBinaryLength(&length);
                                     *binaryLength = cut(length);
                                 });
}

uint32_t Setting_resizeBinaryBuffer(void* instance, uint32_t* binaryLength) {
    return callOn<SettingFamily>(Subject(__func__), instance,
                                 {required("binaryLength", binaryLength)}, [&](ISetting& setting) {
                                     size_t length = *binaryLength;
                                     setting.resizeBinaryBuffer(&length);
                                     *binaryLength = cut(length);
                                 });
}

}  // extern "C"
