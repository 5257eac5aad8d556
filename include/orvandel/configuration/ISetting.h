// A setting: one typed configuration value.
//
// A setting carries a type tag and holds exactly one value of that type: a bool, an 8-, 16-, 32-
// or 64-bit unsigned or signed integer, a float, a double, a narrow string, a wide string or a
// binary buffer. Every accessor checks the tag; values never convert between types. Settings are
// created by the factory (IConfigurationSetFactory::createSetting) or by a set's reader, start as
// a bool holding false, and are reference counted (see IRefCounted.h). Once stored in a
// configuration set, every change made through the setting raises that set's modified flag.
//
// Failures are thrown by value as ISetting::SettingException. A setting, the set holding it and
// their shared modified flag must be used by one thread at a time.
#ifndef ORVANDEL_CONFIGURATION_ISETTING_H
#define ORVANDEL_CONFIGURATION_ISETTING_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <orvandel/Export.h>
#include <orvandel/IRefCounted.h>

namespace com {
namespace orvandel {
namespace configuration {

class ORVANDEL_API ISetting : public IRefCounted {
  public:
    // The value types. The numbers are part of the binary stream format. The underlying type is
    // fixed so that any 32-bit number given to initialize() is a well-defined (if unknown) type.
    enum Type : unsigned int {
        boolType = 0,
        ucharType = 1,
        uint16Type = 2,
        uint32Type = 3,
        uint64Type = 4,
        charType = 5,
        int16Type = 6,
        int32Type = 7,
        int64Type = 8,
        floatType = 9,
        doubleType = 10,
        stringType = 11,
        binaryType = 12,
        unicodeString = 13
    };

    // Thrown by value by the operations below.
    enum SettingException {
        wrongSettingTypeException = 0,  // the operation's type is not the setting's type
        badOutPointer = 1               // an out-pointer argument is null
    };

    // Sets the type tag and nothing else: the stored value keeps its bytes (an int32 -1 read as
    // uint32 gives 4294967295), nothing is checked and no flag is raised. Throws nothing.
    virtual void initialize(Type type) = 0;

    // The type tag. Throws nothing.
    virtual Type getType() const = 0;

    // Scalar accessors, one pair per type. A getter throws badOutPointer for a null pointer, then
    // wrongSettingTypeException for another type, and writes *value only on success. A setter
    // throws wrongSettingTypeException for another type (nothing changes), otherwise stores the
    // value and raises the set's modified flag, even when the value is unchanged.
    virtual void getValue(bool* value) const = 0;
    virtual void setValue(bool value) = 0;
    virtual void getValue(unsigned char* value) const = 0;
    virtual void setValue(unsigned char value) = 0;
    virtual void getValue(uint16_t* value) const = 0;
    virtual void setValue(uint16_t value) = 0;
    virtual void getValue(uint32_t* value) const = 0;
    virtual void setValue(uint32_t value) = 0;
    virtual void getValue(uint64_t* value) const = 0;
    virtual void setValue(uint64_t value) = 0;
    virtual void getValue(signed char* value) const = 0;
    virtual void setValue(signed char value) = 0;
    virtual void getValue(int16_t* value) const = 0;
    virtual void setValue(int16_t value) = 0;
    virtual void getValue(int32_t* value) const = 0;
    virtual void setValue(int32_t value) = 0;
    virtual void getValue(int64_t* value) const = 0;
    virtual void setValue(int64_t value) = 0;
    virtual void getValue(float* value) const = 0;
    virtual void setValue(float value) = 0;
    virtual void getValue(double* value) const = 0;
    virtual void setValue(double value) = 0;

    // Narrow string (stringType). The getter stores a pointer to the setting's own string, not a
    // copy: it is borrowed, valid while the setting lives, and later setValue calls change the
    // string it points to. Checks and flag as for the scalars.
    virtual void getValue(const std::string** value) const = 0;
    virtual void setValue(const std::string& value) = 0;

    // Wide string (unicodeString), as for the narrow string.
    virtual void getValue(const std::wstring** value) const = 0;
    virtual void setValue(const std::wstring& value) = 0;

    // Read-only access to the binary buffer (binaryType): stores the buffer (null when empty)
    // and its length. The buffer is borrowed and valid until the next resize or the setting's
    // end. Throws badOutPointer if either pointer is null, then wrongSettingTypeException.
    // Raises no flag.
    virtual void getLockedBinaryBuffer(const unsigned char** binary,
                                       size_t* binaryLength) const = 0;

    // Writable access to the binary buffer: the same checks and results as
    // getLockedBinaryBuffer, and the modified flag is raised on every successful call, since the
    // caller may write through the buffer.
    virtual void getBinaryBuffer(unsigned char** binary, size_t* binaryLength) = 0;

    // Stores the binary buffer's length. Throws badOutPointer, then wrongSettingTypeException.
    virtual void getBinaryLength(size_t* binaryLength) const = 0;

    // Resizes the binary buffer to *binaryLength bytes (0 frees it). Kept bytes keep their
    // values; new bytes are not initialised. Pointers handed out before are invalid afterwards.
    // Throws badOutPointer for a null pointer, then wrongSettingTypeException (nothing changes).
    // If no memory can be had, writes the unchanged length back, raises the flag and throws
    // std::bad_alloc; the buffer keeps its contents. Raises the flag on success.
    virtual void resizeBinaryBuffer(size_t* binaryLength) = 0;

    // True when r_hand (any ISetting, not empty) has the same type and an equal value: integers
    // by value, floats by IEEE equality (NaN equals nothing, +0 equals -0), strings and buffers
    // by length and contents. A type outside the fourteen known ones equals nothing. Changes
    // nothing and raises no flag.
    virtual bool equals(AutoRefCounted<const ISetting> r_hand) const = 0;

  protected:
    ~ISetting() = default;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
