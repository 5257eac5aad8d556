#include <orvandel/configuration/internal/BinaryConfigurationSet.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include <orvandel/configuration/internal/BinaryStream.h>

namespace com {
namespace orvandel {
namespace configuration {

namespace {

// The bytes of a length-prefixed field: its 64-bit length, then the bytes themselves.
template <class Writer>
void putField(Writer& writer, const void* bytes, size_t length) {
    writer.put(static_cast<uint64_t>(length));
    writer.putBytes(bytes, length);
}

template <class T, class Writer>
void putScalar(Writer& writer, const ISetting& setting) {
    T value;
    setting.getValue(&value);
    writer.put(value);
}

template <class Writer>
void putValue(Writer& writer, ISetting& setting, ISetting::Type type) {
    switch (type) {
        case ISetting::boolType:
            return putScalar<bool>(writer, setting);
        case ISetting::ucharType:
            return putScalar<unsigned char>(writer, setting);
        case ISetting::uint16Type:
            return putScalar<uint16_t>(writer, setting);
        case ISetting::uint32Type:
            return putScalar<uint32_t>(writer, setting);
        case ISetting::uint64Type:
            return putScalar<uint64_t>(writer, setting);
        case ISetting::charType:
            return putScalar<signed char>(writer, setting);
        case ISetting::int16Type:
            return putScalar<int16_t>(writer, setting);
        case ISetting::int32Type:
            return putScalar<int32_t>(writer, setting);
        case ISetting::int64Type:
            return putScalar<int64_t>(writer, setting);
        case ISetting::floatType:
            return putScalar<float>(writer, setting);
        case ISetting::doubleType:
            return putScalar<double>(writer, setting);
        case ISetting::stringType: {
            const std::string* value = nullptr;
            setting.getValue(&value);
            return putField(writer, value->data(), value->size());
        }
        case ISetting::unicodeString: {
            const std::wstring* value = nullptr;
            setting.getValue(&value);
            return putField(writer, value->data(), value->size() * sizeof(wchar_t));
        }
        case ISetting::binaryType: {
            // The writable accessor, as the format has always used: it raises the set's flag,
            // which a successful serialize clears again.
            unsigned char* binary = nullptr;
            size_t length = 0;
            setting.getBinaryBuffer(&binary, &length);
            return putField(writer, binary, length);
        }
    }
    // A type outside the known ones: the record ends after its type code.
}

// A record up to its value: the path, then the type code, which it returns.
template <class Writer>
ISetting::Type putRecordStart(Writer& writer, std::string_view path, const ISetting& setting) {
    putField(writer, path.data(), path.size());
    const ISetting::Type type = setting.getType();
    writer.put(static_cast<uint32_t>(type));
    return type;
}

// Narrow text up to its first NUL byte (all of it when there is none).
std::string textUpToNul(const unsigned char* bytes, size_t length) {
    const void* nul = std::memchr(bytes, 0, length);
    const size_t kept = nul != nullptr ? static_cast<const unsigned char*>(nul) - bytes : length;
    return std::string(reinterpret_cast<const char*>(bytes), kept);
}

// Wide text from a byte count: the complete 4-byte units (a remainder of 1 to 3 bytes is
// skipped), up to the first zero unit.
std::wstring wideTextUpToNul(const unsigned char* bytes, size_t length) {
    const size_t units = length / sizeof(wchar_t);
    std::wstring text;
    text.reserve(units);
    for (size_t unit = 0; unit < units; ++unit) {
        wchar_t character;
        std::memcpy(&character, bytes + unit * sizeof(wchar_t), sizeof character);
        if (character == 0) {
            break;
        }
        text.push_back(character);
    }
    return text;
}

template <class T>
void getScalar(BinaryStreamReader& reader, ISetting& setting) {
    setting.setValue(reader.get<T>());
}

void getValue(BinaryStreamReader& reader, ISetting& setting, ISetting::Type type) {
    switch (type) {
        case ISetting::boolType:
            return setting.setValue(reader.get<unsigned char>() != 0);
        case ISetting::ucharType:
            return getScalar<unsigned char>(reader, setting);
        case ISetting::uint16Type:
            return getScalar<uint16_t>(reader, setting);
        case ISetting::uint32Type:
            return getScalar<uint32_t>(reader, setting);
        case ISetting::uint64Type:
            return getScalar<uint64_t>(reader, setting);
        case ISetting::charType:
            return getScalar<signed char>(reader, setting);
        case ISetting::int16Type:
            return getScalar<int16_t>(reader, setting);
        case ISetting::int32Type:
            return getScalar<int32_t>(reader, setting);
        case ISetting::int64Type:
            return getScalar<int64_t>(reader, setting);
        case ISetting::floatType:
            return getScalar<float>(reader, setting);
        case ISetting::doubleType:
            return getScalar<double>(reader, setting);
        case ISetting::stringType: {
            const uint64_t length = reader.get<uint64_t>();
            return setting.setValue(textUpToNul(reader.take(length), length));
        }
        case ISetting::unicodeString: {
            const uint64_t length = reader.get<uint64_t>();
            return setting.setValue(wideTextUpToNul(reader.take(length), length));
        }
        case ISetting::binaryType: {
            // The buffer is sized before the announced length is checked against the input, so a
            // length no buffer can hold fails with std::bad_alloc.
            size_t length = reader.get<uint64_t>();
            setting.resizeBinaryBuffer(&length);
            const unsigned char* bytes = reader.take(length);
            unsigned char* binary = nullptr;
            setting.getBinaryBuffer(&binary, &length);
            if (length != 0) {
                std::memcpy(binary, bytes, length);
            }
            return;
        }
    }
    recordFailure(FailurePlace::atByte(reader.position() - sizeof(uint32_t)), "unknown type code ",
                  uint64_t{static_cast<uint32_t>(type)});
    throw IConfigurationSet::serializationFailureException;
}

}  // namespace

BinaryConfigurationSet::BinaryConfigurationSet() {
    d_type = "BinaryConfigurationSet";
    d_capLoadSave = true;
    d_capSerialize = true;
}

// The form to keep: every setting as one record, each binary value's bytes left for
// rewriteBinary when the form is handed out.
void BinaryConfigurationSet::buildForm(KeptForm& form) {
    FormBuffer& bytes = form.bytes();
    forEachInOrder(settingsInOrder(), [&](std::string_view path, ISetting& setting) {
        form.noteSetting(setting);
        const ISetting::Type type = putRecordStart(bytes, path, setting);
        if (type != ISetting::binaryType) {
            return putValue(bytes, setting, type);
        }
        unsigned char* binary = nullptr;  // read as a straight write reads it, raising the flag
        size_t length = 0;
        setting.getBinaryBuffer(&binary, &length);
        bytes.put(static_cast<uint64_t>(length));
        form.noteBinary(bytes.size(), setting);
        bytes.extend(length);
    });
}

void BinaryConfigurationSet::rewriteBinary(unsigned char* at, const unsigned char* binary,
                                           size_t length) noexcept {
    if (length != 0) {
        std::memcpy(at, binary, length);
    }
}

// A length query builds the form and keeps it for the call that follows; a call with a buffer
// writes straight into it unless a kept form is current.
void BinaryConfigurationSet::serialize(unsigned char* out, size_t outLength, size_t* reqLength) {
    if (outLength == 0 || d_keptForm.isCurrent()) {
        try {
            serializeWhole(out, outLength, reqLength);
        } catch (ConfigurationSetException exception) {
            if (exception == outBufferTooSmallException && outLength != 0) {
                std::memset(out, 0, outLength);
            }
            throw;
        }
        return;
    }
    d_keptForm.release();
    BinaryStreamWriter writer(out, outLength);
    forEachInOrder(settingsInOrder(), [&writer](std::string_view path, ISetting& setting) {
        putValue(writer, setting, putRecordStart(writer, path, setting));
    });
    *reqLength = writer.position();
    if (writer.position() > outLength) {
        std::memset(out, 0, outLength);
        throw outBufferTooSmallException;
    }
    clearModified();
}

void BinaryConfigurationSet::unserialize(const unsigned char* in, size_t inLength) {
    // The settings being read share the set's flag from birth and raise it as their values are
    // stored, so a read that fails puts the flag back as it found it: a failed read changes
    // nothing about the set.
    const bool wasModified = d_modifiedFlag->isFlagged();
    SettingMap read;
    try {
        BinaryStreamReader reader(in, inLength);
        while (!reader.atEnd()) {
            const uint64_t pathLength = reader.get<uint64_t>();
            std::string path = textUpToNul(reader.take(pathLength), pathLength);
            try {
                const ISetting::Type type = static_cast<ISetting::Type>(reader.get<uint32_t>());
                AutoRefCounted<Setting> setting = createAttachedSetting(type);
                getValue(reader, *setting, type);
                storeRead(read, std::move(path), static_pointer_cast<ISetting>(setting));
            } catch (IConfigurationSet::ConfigurationSetException) {
                prefixFailure("record of path '", Excerpt(path), "': ");
                throw;
            }
        }
    } catch (...) {
        if (!wasModified) {
            clearModified();
        }
        throw;
    }
    mergeRead(read);
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
