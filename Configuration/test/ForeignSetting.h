// An ISetting that the library did not make: it forwards every operation to a Setting it owns, so
// it answers like one while being of another class.
#ifndef ORVANDEL_CONFIGURATION_TEST_FOREIGNSETTING_H
#define ORVANDEL_CONFIGURATION_TEST_FOREIGNSETTING_H

#include <orvandel/configuration/ISetting.h>
#include <orvandel/configuration/internal/RefCounted.h>
#include <orvandel/configuration/internal/Setting.h>

namespace testsupport {

using com::orvandel::AutoRefCounted;
using com::orvandel::RefCounted;
using com::orvandel::configuration::ISetting;
using com::orvandel::configuration::Setting;

class ForeignSetting : public RefCounted<ISetting> {
  public:
    explicit ForeignSetting(AutoRefCounted<ISetting> inner) : d_inner(inner) {}

    void initialize(Type type) override { d_inner->initialize(type); }
    Type getType() const override { return d_inner->getType(); }

#define ORVANDEL_FORWARD_PAIR(T)             \
    void getValue(T* value) const override { \
        d_inner->getValue(value);            \
    }                                        \
    void setValue(T value) override {        \
        d_inner->setValue(value);            \
    }

    ORVANDEL_FORWARD_PAIR(bool)
    ORVANDEL_FORWARD_PAIR(unsigned char)
    ORVANDEL_FORWARD_PAIR(uint16_t)
    ORVANDEL_FORWARD_PAIR(uint32_t)
    ORVANDEL_FORWARD_PAIR(uint64_t)
    ORVANDEL_FORWARD_PAIR(signed char)
    ORVANDEL_FORWARD_PAIR(int16_t)
    ORVANDEL_FORWARD_PAIR(int32_t)
    ORVANDEL_FORWARD_PAIR(int64_t)
    ORVANDEL_FORWARD_PAIR(float)
    ORVANDEL_FORWARD_PAIR(double)
#undef ORVANDEL_FORWARD_PAIR

    void getValue(const std::string** value) const override {
        d_inner->getValue(value);
    }
    void setValue(const std::string& value) override {
        d_inner->setValue(value);
    }
    void getValue(const std::wstring** value) const override {
        d_inner->getValue(value);
    }
    void setValue(const std::wstring& value) override {
        d_inner->setValue(value);
    }
    void getLockedBinaryBuffer(const unsigned char** binary, size_t* length) const override {
        d_inner->getLockedBinaryBuffer(binary, length);
    }
    void getBinaryBuffer(unsigned char** binary, size_t* length) override {
        d_inner->getBinaryBuffer(binary, length);
    }
    void getBinaryLength(size_t* length) const override {
        d_inner->getBinaryLength(length);
    }
    void resizeBinaryBuffer(size_t* length) override {
        d_inner->resizeBinaryBuffer(length);
    }
    bool equals(AutoRefCounted<const ISetting> r_hand) const override {
        return d_inner->equals(r_hand);
    }

  protected:
    ~ForeignSetting() override = default;

  private:
    AutoRefCounted<ISetting> d_inner;
};

// A foreign setting answering like `inner`.
inline AutoRefCounted<ISetting> foreign(const AutoRefCounted<ISetting>& inner) {
    return AutoRefCounted<ISetting>(new ForeignSetting(inner));
}

}  // namespace testsupport

#endif
