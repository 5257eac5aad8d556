#include <orvandel/configuration/internal/Setting.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include <orvandel/configuration/internal/FailureDetail.h>

namespace com {
namespace orvandel {
namespace configuration {

const char* typeName(ISetting::Type type) {
    static const char* const sd_names[] = {"bool",   "uchar",  "uint16", "uint32",       "uint64",
                                           "char",   "int16",  "int32",  "int64",        "float",
                                           "double", "string", "binary", "unicodeString"};
    const int index = static_cast<int>(type);
    return index >= 0 && index < static_cast<int>(sizeof sd_names / sizeof sd_names[0])
               ? sd_names[index]
               : "";
}

Setting::Setting() : d_type(boolType), d_binary(nullptr), d_binaryLength(0) {
    std::memset(&d_value, 0, sizeof d_value);
}

Setting::~Setting() {
    // The buffer is released whatever the current type: a buffer kept under another type after
    // initialize() would otherwise leak.
    std::free(d_binary);
}

// Setting the type raises no flag, but it changes what the setting serialises to, so the set is
// told of the change.
void Setting::initialize(Type type) {
    d_type = type;
    if (d_modifiedFlag != 0) {
        d_modifiedFlag->noteChange();
    }
}

ISetting::Type Setting::getType() const {
    return d_type;
}

void Setting::requireType(Type type) const {
    if (d_type != type) {
        recordFailure("type '", typeName(type), "' expected, setting holds '", typeName(d_type),
                      "'");
        throw wrongSettingTypeException;
    }
}

void Setting::throwBadOutPointer() {
    recordFailure("the pointer for the value is null");
    throw badOutPointer;
}

void Setting::raiseModifiedFlag() {
    if (d_modifiedFlag != 0) {
        d_modifiedFlag->flag();
    }
}

template <class T>
void Setting::getScalar(Type type, T value_::*member, T* value) const {
    if (value == nullptr) {
        throwBadOutPointer();
    }
    requireType(type);
    *value = d_value.*member;
}

template <class T>
void Setting::setScalar(Type type, T value_::*member, T value) {
    requireType(type);
    d_value.*member = value;
    raiseModifiedFlag();
}

#define ORVANDEL_SCALAR_ACCESSORS(T, TYPE, MEMBER) \
    void Setting::getValue(T* value) const {       \
        getScalar(TYPE, &value_::MEMBER, value);   \
    }                                              \
    void Setting::setValue(T value) {              \
        setScalar(TYPE, &value_::MEMBER, value);   \
    }

ORVANDEL_SCALAR_ACCESSORS(unsigned char, ucharType, d_uchar)
ORVANDEL_SCALAR_ACCESSORS(uint16_t, uint16Type, d_uint16)
ORVANDEL_SCALAR_ACCESSORS(uint32_t, uint32Type, d_uint32)
ORVANDEL_SCALAR_ACCESSORS(uint64_t, uint64Type, d_uint64)
ORVANDEL_SCALAR_ACCESSORS(signed char, charType, d_char)
ORVANDEL_SCALAR_ACCESSORS(int16_t, int16Type, d_int16)
ORVANDEL_SCALAR_ACCESSORS(int32_t, int32Type, d_int32)
ORVANDEL_SCALAR_ACCESSORS(int64_t, int64Type, d_int64)
ORVANDEL_SCALAR_ACCESSORS(float, floatType, d_float)
ORVANDEL_SCALAR_ACCESSORS(double, doubleType, d_double)

#undef ORVANDEL_SCALAR_ACCESSORS

// A boolean is read from its byte: initialize() may have left any byte of another type there, and
// every non-zero byte counts as true, so a bool with an invalid representation is never loaded.
bool Setting::storedBool() const {
    return d_value.d_uchar != 0;
}

void Setting::getValue(bool* value) const {
    if (value == nullptr) {
        throwBadOutPointer();
    }
    requireType(boolType);
    *value = storedBool();
}

void Setting::setValue(bool value) {
    setScalar(boolType, &value_::d_bool, value);
}

void Setting::getValue(const std::string** value) const {
    if (value == nullptr) {
        throwBadOutPointer();
    }
    requireType(stringType);
    *value = &d_string;
}

void Setting::setValue(const std::string& value) {
    requireType(stringType);
    d_string = value;
    raiseModifiedFlag();
}

void Setting::getValue(const std::wstring** value) const {
    if (value == nullptr) {
        throwBadOutPointer();
    }
    requireType(unicodeString);
    *value = &d_unicodeString;
}

void Setting::setValue(const std::wstring& value) {
    requireType(unicodeString);
    d_unicodeString = value;
    raiseModifiedFlag();
}

void Setting::getLockedBinaryBuffer(const unsigned char** binary, size_t* binaryLength) const {
    if (binary == nullptr || binaryLength == nullptr) {
        throwBadOutPointer();
    }
    requireType(binaryType);
    *binary = d_binary;
    *binaryLength = d_binaryLength;
}

void Setting::getBinaryBuffer(unsigned char** binary, size_t* binaryLength) {
    if (binary == nullptr) {
        throwBadOutPointer();
    }
    const unsigned char* locked = nullptr;
    getLockedBinaryBuffer(&locked, binaryLength);
    *binary = d_binary;
    raiseModifiedFlag();
}

void Setting::getBinaryLength(size_t* binaryLength) const {
    if (binaryLength == nullptr) {
        throwBadOutPointer();
    }
    requireType(binaryType);
    *binaryLength = d_binaryLength;
}

void Setting::resizeBinaryBuffer(size_t* binaryLength) {
    if (binaryLength == nullptr) {
        throwBadOutPointer();
    }
    requireType(binaryType);
    const size_t requested = *binaryLength;
    if (requested == 0) {
        std::free(d_binary);
        d_binary = nullptr;
        d_binaryLength = 0;
        raiseModifiedFlag();
        return;
    }
    void* grown = std::realloc(d_binary, requested);
    if (grown == nullptr) {
        *binaryLength = d_binaryLength;
        raiseModifiedFlag();
        recordFailure("out of memory for a binary buffer of ", uint64_t{requested}, " bytes");
        throw std::bad_alloc();
    }
    d_binary = static_cast<unsigned char*>(grown);
    d_binaryLength = requested;
    raiseModifiedFlag();
}

template <class T>
bool Setting::equalScalar(const ISetting& other, T own) {
    T theirs{};
    other.getValue(&theirs);
    return own == theirs;
}

bool Setting::equals(AutoRefCounted<const ISetting> r_hand) const {
    if (d_type != r_hand->getType()) {
        return false;
    }
    const ISetting& other = *r_hand;
    switch (d_type) {
        case boolType:
            return equalScalar(other, storedBool());
        case ucharType:
            return equalScalar(other, d_value.d_uchar);
        case uint16Type:
            return equalScalar(other, d_value.d_uint16);
        case uint32Type:
            return equalScalar(other, d_value.d_uint32);
        case uint64Type:
            return equalScalar(other, d_value.d_uint64);
        case charType:
            return equalScalar(other, d_value.d_char);
        case int16Type:
            return equalScalar(other, d_value.d_int16);
        case int32Type:
            return equalScalar(other, d_value.d_int32);
        case int64Type:
            return equalScalar(other, d_value.d_int64);
        case floatType:
            return equalScalar(other, d_value.d_float);
        case doubleType:
            return equalScalar(other, d_value.d_double);
        case stringType: {
            const std::string* theirs = nullptr;
            other.getValue(&theirs);
            return d_string == *theirs;
        }
        case unicodeString: {
            const std::wstring* theirs = nullptr;
            other.getValue(&theirs);
            return d_unicodeString == *theirs;
        }
        case binaryType: {
            const unsigned char* theirs = nullptr;
            size_t theirLength = 0;
            other.getLockedBinaryBuffer(&theirs, &theirLength);
            return d_binaryLength == theirLength &&
                   (d_binaryLength == 0 || std::memcmp(d_binary, theirs, d_binaryLength) == 0);
        }
    }
    return false;  // a type outside the fourteen known ones equals nothing
}

void Setting::setModifiedFlag(AutoRefCounted<SharedFlag> modifiedFlag) {
    if (d_modifiedFlag != 0 && d_modifiedFlag != modifiedFlag.operator->()) {
        d_modifiedFlag->noteChange();
    }
    d_modifiedFlag = std::move(modifiedFlag);
}

}  // namespace configuration
}  // namespace orvandel
}  // namespace com
