// An ISetting that the library did not make: it forwards every operation to a Setting it owns, so
// it answers like one while being of another class.
#ifndef ORVANDEL_CONFIGURATION_TEST_FOREIGNSETTING_H
#define ORVANDEL_CONFIGURATION_TEST_FOREIGNSETTING_H

#include <orvandel/configuration/ISetting.h>
#include <orvandel/configuration/internal/RefCounted.h>

namespace testsupport {

using com::orvandel::AutoRefCounted;
using com::orvandel::RefCounted;
using com::orvandel::configuration::ISetting;

class ForeignSetting : public RefCounted<ISetting> {
  public:
    explicit ForeignSetting(AutoRefCounted<ISetting> inner) : d_inner(inner) {}
    void initialize(Type type) override { d_inner->initialize(type); }
    Type getType() const override { return d_inner->getType(); }
    void getLockedBinaryBuffer(const unsigned char** binary, size_t* length) const override {
        d_inner->getLockedBinaryBuffer(binary, length);
    }
    void getBinaryBuffer(unsigned char** binary, size_t* length) override {
        d_inner->getBinaryBuffer(binary, length);
    }
    void getBinaryLength(size_t* length) const override { d_inner->getBinaryLength(length); }
    void resizeBinaryBuffer(size_t* length) override { d_inner->resizeBinaryBuffer(length); }
    bool equals(AutoRefCounted<const ISetting> r_hand) const override {
        return d_inner->equals(r_hand);
    }

    // clang-format off
#define ORVANDEL_FORWARD_PAIR(GET, SET)                                     \
    void getValue(GET value) const override { d_inner->getValue(value); }   \
    void setValue(SET value) override { d_inner->setValue(value); }
    // clang-format on

    ORVANDEL_FORWARD_PAIR(bool*, bool)
    ORVANDEL_FORWARD_PAIR(unsigned char*, unsigned char)
    ORVANDEL_FORWARD_PAIR(uint16_t*, uint16_t)
    ORVANDEL_FORWARD_PAIR(uint32_t*, uint32_t)
    ORVANDEL_FORWARD_PAIR(uint64_t*, uint64_t)
    ORVANDEL_FORWARD_PAIR(signed char*, signed char)
    ORVANDEL_FORWARD_PAIR(int16_t*, int16_t)
    ORVANDEL_FORWARD_PAIR(int32_t*, int32_t)
    ORVANDEL_FORWARD_PAIR(int64_t*, int64_t)
    ORVANDEL_FORWARD_PAIR(float*, float)
    ORVANDEL_FORWARD_PAIR(double*, double)
    ORVANDEL_FORWARD_PAIR(const std::string**, const std::string&)
    ORVANDEL_FORWARD_PAIR(const std::wstring**, const std::wstring&)
#undef ORVANDEL_FORWARD_PAIR

  private:
    AutoRefCounted<ISetting> d_inner;
};

// A foreign setting answering like `inner`.
inline AutoRefCounted<ISetting> foreign(const AutoRefCounted<ISetting>& inner) {
    return AutoRefCounted<ISetting>(new ForeignSetting(inner));
}

}  // namespace testsupport

#endif
