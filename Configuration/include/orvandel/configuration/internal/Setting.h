// The library's one implementation of ISetting.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_SETTING_H
#define ORVANDEL_CONFIGURATION_INTERNAL_SETTING_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/ISetting.h>
#include <orvandel/configuration/internal/RefCounted.h>
#include <orvandel/configuration/internal/SharedFlag.h>

namespace com {
namespace orvandel {
namespace configuration {

// The name of a value type as users see it in documents and messages ("bool", "uchar", ...
// "unicodeString"), or "" for a type outside the fourteen.
const char* typeName(ISetting::Type type);

// A typed value. The scalar types share one union, and the narrow string, the wide string and
// the binary buffer each have their own store; initialize() changes only the type tag, so a
// store keeps its contents across type changes. The binary buffer is owned by the setting,
// grown with realloc and released with free.
class Setting : public RefCounted<ISetting> {
  public:
    Setting();

    void initialize(Type type) override;
    Type getType() const override;

    void getValue(bool* value) const override;
    void setValue(bool value) override;
    void getValue(unsigned char* value) const override;
    void setValue(unsigned char value) override;
    void getValue(uint16_t* value) const override;
    void setValue(uint16_t value) override;
    void getValue(uint32_t* value) const override;
    void setValue(uint32_t value) override;
    void getValue(uint64_t* value) const override;
    void setValue(uint64_t value) override;
    void getValue(signed char* value) const override;
    void setValue(signed char value) override;
    void getValue(int16_t* value) const override;
    void setValue(int16_t value) override;
    void getValue(int32_t* value) const override;
    void setValue(int32_t value) override;
    void getValue(int64_t* value) const override;
    void setValue(int64_t value) override;
    void getValue(float* value) const override;
    void setValue(float value) override;
    void getValue(double* value) const override;
    void setValue(double value) override;

    void getValue(const std::string** value) const override;
    void setValue(const std::string& value) override;
    void getValue(const std::wstring** value) const override;
    void setValue(const std::wstring& value) override;

    void getLockedBinaryBuffer(const unsigned char** binary, size_t* binaryLength) const override;
    void getBinaryBuffer(unsigned char** binary, size_t* binaryLength) override;
    void getBinaryLength(size_t* binaryLength) const override;
    void resizeBinaryBuffer(size_t* binaryLength) override;

    bool equals(AutoRefCounted<const ISetting> r_hand) const override;

    // Attaches the modified flag of the set that holds the setting, dropping any previous one
    // (whose set is told that one of its settings changed hands).
    void setModifiedFlag(AutoRefCounted<SharedFlag> modifiedFlag);

    // True when the setting reports its changes to `modifiedFlag`.
    bool carriesFlag(const SharedFlag* modifiedFlag) const {
        return d_modifiedFlag.operator->() == modifiedFlag;
    }

    // Asks the processor to fetch the setting's first 64 bytes, which hold what writers read of
    // every setting (its type, flag, scalar value and narrow string; the type is declared first
    // so that it shares them).
    void prefetch() const {
        __builtin_prefetch(this);
        __builtin_prefetch(reinterpret_cast<const char*>(this) + 63);
    }

    // Asks the processor to fetch the value's own storage, if it has any.
    void prefetchValue() const {
        switch (d_type) {
            case stringType:
                __builtin_prefetch(d_string.data());
                break;
            case unicodeString:
                __builtin_prefetch(d_unicodeString.data());
                break;
            case binaryType:
                __builtin_prefetch(d_binary);
                break;
            default:
                break;
        }
    }

  protected:
    ~Setting() override;

  private:
    union value_ {
        bool d_bool;
        unsigned char d_uchar;
        uint16_t d_uint16;
        uint32_t d_uint32;
        uint64_t d_uint64;
        signed char d_char;
        int16_t d_int16;
        int32_t d_int32;
        int64_t d_int64;
        float d_float;
        double d_double;
    };

    void requireType(Type type) const;
    [[noreturn]] static void throwBadOutPointer();
    bool storedBool() const;
    void raiseModifiedFlag();
    template <class T>
    void getScalar(Type type, T value_::*member, T* value) const;
    template <class T>
    void setScalar(Type type, T value_::*member, T value);
    template <class T>
    static bool equalScalar(const ISetting& other, T own);

    Type d_type;
    AutoRefCounted<SharedFlag> d_modifiedFlag;
    value_ d_value;
    std::string d_string;
    std::wstring d_unicodeString;
    unsigned char* d_binary;
    size_t d_binaryLength;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
