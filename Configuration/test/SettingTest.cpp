// The typed setting: type checks, the stores kept across initialize(), the binary buffer, the
// modified flag it raises and equality.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <orvandel/configuration/internal/Setting.h>
#include <orvandel/configuration/internal/SharedFlag.h>

#include "ForeignSetting.h"
#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::makeBinarySetting;
using testsupport::makeSetting;

namespace {

std::optional<ISetting::SettingException> settingExceptionOf(
    const std::function<void()>& operation) {
    return testsupport::thrownValue<ISetting::SettingException>(operation);
}

// A setting attached to a flag of its own, as a set would attach one.
class FlaggedSetting : public testing::Test {
  protected:
    FlaggedSetting() : d_flag(new SharedFlag(false)), d_setting(new Setting()) {
        d_setting->setModifiedFlag(d_flag);
    }

    bool raised() { return d_flag->checkFlagged(); }

    AutoRefCounted<SharedFlag> d_flag;
    AutoRefCounted<Setting> d_setting;
};

TEST(Setting, AFreshSettingIsABooleanHoldingFalse) {
    const AutoRefCounted<ISetting> setting(new Setting());
    EXPECT_EQ(ISetting::boolType, setting->getType());
    bool value = true;
    setting->getValue(&value);
    EXPECT_FALSE(value);
    uint32_t other = 7;
    EXPECT_THROW(setting->getValue(&other), ISetting::SettingException);
    EXPECT_EQ(7u, other);
}

TEST(Setting, ANullOutPointerIsReportedBeforeTheWrongType) {
    const AutoRefCounted<ISetting> setting(new Setting());
    size_t length = 0;
    const unsigned char* locked = nullptr;
    unsigned char* writable = nullptr;
    const std::vector<std::function<void()>> calls{
        [&] { setting->getValue(static_cast<bool*>(nullptr)); },
        [&] { setting->getValue(static_cast<uint32_t*>(nullptr)); },
        [&] { setting->getValue(static_cast<const std::string**>(nullptr)); },
        [&] { setting->getValue(static_cast<const std::wstring**>(nullptr)); },
        [&] { setting->getLockedBinaryBuffer(nullptr, &length); },
        [&] { setting->getLockedBinaryBuffer(&locked, nullptr); },
        [&] { setting->getBinaryBuffer(nullptr, &length); },
        [&] { setting->getBinaryBuffer(&writable, nullptr); },
        [&] { setting->getBinaryLength(nullptr); },
    };
    for (size_t call = 0; call < calls.size(); ++call) {
        EXPECT_EQ(ISetting::badOutPointer, settingExceptionOf(calls[call])) << "call " << call;
    }
}

// Each scalar type accepts its own accessor pair and refuses a neighbour's, with no conversion.
template <class T>
void expectScalarRoundTrip(ISetting::Type type, T value) {
    const AutoRefCounted<ISetting> setting(new Setting());
    setting->initialize(type);
    setting->setValue(value);
    T read{};
    setting->getValue(&read);
    EXPECT_EQ(0, std::memcmp(&value, &read, sizeof value)) << "type " << type;
}

TEST(Setting, EveryScalarTypeKeepsItsValue) {
    expectScalarRoundTrip(ISetting::boolType, true);
    expectScalarRoundTrip(ISetting::ucharType, static_cast<unsigned char>(0xFE));
    expectScalarRoundTrip(ISetting::uint16Type, static_cast<uint16_t>(0xFEDC));
    expectScalarRoundTrip(ISetting::uint32Type, static_cast<uint32_t>(0xFEDCBA98u));
    expectScalarRoundTrip(ISetting::uint64Type, static_cast<uint64_t>(0xFEDCBA9876543210ull));
    expectScalarRoundTrip(ISetting::charType, static_cast<signed char>(-128));
    expectScalarRoundTrip(ISetting::int16Type, static_cast<int16_t>(-32768));
    expectScalarRoundTrip(ISetting::int32Type, std::numeric_limits<int32_t>::min());
    expectScalarRoundTrip(ISetting::int64Type, std::numeric_limits<int64_t>::min());
    expectScalarRoundTrip(ISetting::floatType, -1.5e-40f);
    expectScalarRoundTrip(ISetting::doubleType, std::numeric_limits<double>::infinity());
}

TEST(Setting, ValuesNeverConvertBetweenTypes) {
    const AutoRefCounted<ISetting> setting = makeSetting(ISetting::uint32Type, uint32_t{5});
    int32_t asSigned = 9;
    EXPECT_THROW(setting->getValue(&asSigned), ISetting::SettingException);
    EXPECT_EQ(9, asSigned);
    EXPECT_THROW(setting->setValue(uint16_t{1}), ISetting::SettingException);
    EXPECT_THROW(setting->setValue(int32_t{1}), ISetting::SettingException);
    EXPECT_THROW(setting->setValue(std::string("x")), ISetting::SettingException);
    uint32_t value = 0;
    setting->getValue(&value);
    EXPECT_EQ(5u, value);
}

TEST(Setting, InitializeKeepsTheBytesOfTheScalarStore) {
    const AutoRefCounted<ISetting> setting = makeSetting(ISetting::int32Type, int32_t{-1});
    setting->initialize(ISetting::uint32Type);
    uint32_t value = 0;
    setting->getValue(&value);
    EXPECT_EQ(4294967295u, value);
    setting->initialize(ISetting::uint16Type);
    uint16_t narrow = 0;
    setting->getValue(&narrow);
    EXPECT_EQ(0xFFFF, narrow);
}

TEST(Setting, InitializeKeepsTheStringAndTheBufferForALaterReturn) {
    const AutoRefCounted<ISetting> setting = makeSetting(ISetting::stringType, std::string("kept"));
    setting->initialize(ISetting::binaryType);
    size_t length = 3;
    setting->resizeBinaryBuffer(&length);
    setting->initialize(ISetting::stringType);
    const std::string* text = nullptr;
    setting->getValue(&text);
    EXPECT_EQ("kept", *text);
    setting->initialize(ISetting::binaryType);
    setting->getBinaryLength(&length);
    EXPECT_EQ(3u, length);
}

TEST(Setting, AnyNonZeroByteReadAsABooleanIsTrue) {
    const AutoRefCounted<ISetting> setting =
        makeSetting(ISetting::ucharType, static_cast<unsigned char>(2));
    setting->initialize(ISetting::boolType);
    bool value = false;
    setting->getValue(&value);
    EXPECT_TRUE(value);
    EXPECT_TRUE(
        setting->equals(const_pointer_cast<const ISetting>(makeSetting(ISetting::boolType, true))));
}

TEST(Setting, TheStringGetterLendsTheSettingsOwnString) {
    const AutoRefCounted<ISetting> setting = makeSetting(ISetting::stringType, std::string("one"));
    const std::string* first = nullptr;
    const std::string* second = nullptr;
    setting->getValue(&first);
    setting->getValue(&second);
    EXPECT_EQ(first, second);
    setting->setValue(std::string("two"));
    EXPECT_EQ("two", *first);
}

TEST(Setting, TheWideStringGetterLendsTheSettingsOwnString) {
    const AutoRefCounted<ISetting> setting =
        makeSetting(ISetting::unicodeString, std::wstring(L"ä"));
    const std::wstring* first = nullptr;
    setting->getValue(&first);
    setting->setValue(std::wstring(L"\U0001F600"));
    const std::wstring* second = nullptr;
    setting->getValue(&second);
    EXPECT_EQ(first, second);
    EXPECT_EQ(std::wstring(L"\U0001F600"), *first);
}

TEST(Setting, ResizingToZeroLeavesNoStorage) {
    const AutoRefCounted<ISetting> setting = makeBinarySetting({1, 2, 3});
    size_t length = 0;
    setting->resizeBinaryBuffer(&length);
    const unsigned char* buffer = reinterpret_cast<const unsigned char*>(1);
    length = 9;
    setting->getLockedBinaryBuffer(&buffer, &length);
    EXPECT_EQ(nullptr, buffer);
    EXPECT_EQ(0u, length);
}

TEST(Setting, GrowingTheBufferKeepsItsBytes) {
    const AutoRefCounted<ISetting> setting = makeBinarySetting({1, 2, 3, 4});
    size_t length = 8;
    setting->resizeBinaryBuffer(&length);
    EXPECT_EQ(8u, length);
    const unsigned char* buffer = nullptr;
    setting->getLockedBinaryBuffer(&buffer, &length);
    ASSERT_EQ(8u, length);
    EXPECT_EQ(0, std::memcmp(buffer, "\x01\x02\x03\x04", 4));
    length = 2;
    setting->resizeBinaryBuffer(&length);
    setting->getLockedBinaryBuffer(&buffer, &length);
    ASSERT_EQ(2u, length);
    EXPECT_EQ(0, std::memcmp(buffer, "\x01\x02", 2));
}

TEST(Setting, ResizingAnotherTypeIsRefused) {
    const AutoRefCounted<ISetting> setting = makeSetting(ISetting::stringType, std::string("s"));
    size_t length = 4;
    EXPECT_THROW(setting->resizeBinaryBuffer(&length), ISetting::SettingException);
    EXPECT_THROW(setting->resizeBinaryBuffer(nullptr), ISetting::SettingException);
    setting->initialize(ISetting::binaryType);
    setting->getBinaryLength(&length);
    EXPECT_EQ(0u, length);
}

TEST_F(FlaggedSetting, ASizeNoAllocatorCanGiveLeavesTheBufferAndReportsItsLength) {
    d_setting->initialize(ISetting::binaryType);
    size_t length = 3;
    d_setting->resizeBinaryBuffer(&length);
    unsigned char* buffer = nullptr;
    d_setting->getBinaryBuffer(&buffer, &length);
    std::memcpy(buffer, "abc", 3);
    raised();
    length = std::numeric_limits<size_t>::max() - 15;
    EXPECT_THROW(d_setting->resizeBinaryBuffer(&length), std::bad_alloc);
    EXPECT_EQ(3u, length);
    EXPECT_TRUE(raised());
    const unsigned char* kept = nullptr;
    d_setting->getLockedBinaryBuffer(&kept, &length);
    ASSERT_EQ(3u, length);
    EXPECT_EQ(0, std::memcmp(kept, "abc", 3));
}

TEST_F(FlaggedSetting, EverySuccessfulSetRaisesTheFlagEvenForAnEqualValue) {
    d_setting->initialize(ISetting::int64Type);
    EXPECT_FALSE(raised());
    d_setting->setValue(int64_t{4});
    EXPECT_TRUE(raised());
    d_setting->setValue(int64_t{4});
    EXPECT_TRUE(raised());
    d_setting->initialize(ISetting::stringType);
    d_setting->setValue(std::string());
    EXPECT_TRUE(raised());
    d_setting->initialize(ISetting::unicodeString);
    d_setting->setValue(std::wstring());
    EXPECT_TRUE(raised());
}

TEST_F(FlaggedSetting, InitializeAndReadsRaiseNothing) {
    d_setting->initialize(ISetting::doubleType);
    double value = 0;
    d_setting->getValue(&value);
    d_setting->initialize(ISetting::binaryType);
    const unsigned char* buffer = nullptr;
    size_t length = 0;
    d_setting->getLockedBinaryBuffer(&buffer, &length);
    d_setting->getBinaryLength(&length);
    EXPECT_TRUE(d_setting->equals(static_pointer_cast<const ISetting>(d_setting)));
    EXPECT_FALSE(raised());
}

TEST_F(FlaggedSetting, WritableBinaryAccessAndResizingRaiseTheFlag) {
    d_setting->initialize(ISetting::binaryType);
    unsigned char* buffer = nullptr;
    size_t length = 0;
    d_setting->getBinaryBuffer(&buffer, &length);
    EXPECT_TRUE(raised());
    length = 4;
    d_setting->resizeBinaryBuffer(&length);
    EXPECT_TRUE(raised());
    length = 0;
    d_setting->resizeBinaryBuffer(&length);
    EXPECT_TRUE(raised());
}

TEST_F(FlaggedSetting, FailedOperationsRaiseNothing) {
    d_setting->initialize(ISetting::uint16Type);
    EXPECT_THROW(d_setting->setValue(true), ISetting::SettingException);
    EXPECT_THROW(d_setting->setValue(std::string("x")), ISetting::SettingException);
    EXPECT_THROW(d_setting->setValue(std::wstring(L"x")), ISetting::SettingException);
    unsigned char* buffer = nullptr;
    size_t length = 1;
    EXPECT_THROW(d_setting->getBinaryBuffer(&buffer, &length), ISetting::SettingException);
    EXPECT_THROW(d_setting->resizeBinaryBuffer(&length), ISetting::SettingException);
    d_setting->initialize(ISetting::binaryType);
    EXPECT_THROW(d_setting->getBinaryBuffer(nullptr, &length), ISetting::SettingException);
    EXPECT_FALSE(raised());
}

TEST(SettingWithUnknownType, RefusesEveryAccessorAndEqualsNothing) {
    const AutoRefCounted<ISetting> setting(new Setting());
    setting->initialize(static_cast<ISetting::Type>(42));
    EXPECT_EQ(42u, static_cast<unsigned>(setting->getType()));
    bool flag = false;
    double number = 0;
    const std::string* text = nullptr;
    size_t length = 0;
    EXPECT_THROW(setting->getValue(&flag), ISetting::SettingException);
    EXPECT_THROW(setting->setValue(true), ISetting::SettingException);
    EXPECT_THROW(setting->getValue(&number), ISetting::SettingException);
    EXPECT_THROW(setting->setValue(1.0), ISetting::SettingException);
    EXPECT_THROW(setting->getValue(&text), ISetting::SettingException);
    EXPECT_THROW(setting->getBinaryLength(&length), ISetting::SettingException);
    EXPECT_FALSE(setting->equals(const_pointer_cast<const ISetting>(setting)));
    const AutoRefCounted<ISetting> twin(new Setting());
    twin->initialize(static_cast<ISetting::Type>(42));
    EXPECT_FALSE(setting->equals(const_pointer_cast<const ISetting>(twin)));
}

bool equal(const AutoRefCounted<ISetting>& left, const AutoRefCounted<ISetting>& right) {
    return left->equals(const_pointer_cast<const ISetting>(right));
}

TEST(SettingEquality, NaNEqualsNothingNotEvenItself) {
    const AutoRefCounted<ISetting> floatNaN =
        makeSetting(ISetting::floatType, std::numeric_limits<float>::quiet_NaN());
    const AutoRefCounted<ISetting> doubleNaN =
        makeSetting(ISetting::doubleType, std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(equal(floatNaN, floatNaN));
    EXPECT_FALSE(equal(doubleNaN, doubleNaN));
}

TEST(SettingEquality, PositiveAndNegativeZeroAreEqual) {
    EXPECT_TRUE(
        equal(makeSetting(ISetting::floatType, 0.0f), makeSetting(ISetting::floatType, -0.0f)));
    EXPECT_TRUE(
        equal(makeSetting(ISetting::doubleType, -0.0), makeSetting(ISetting::doubleType, 0.0)));
    EXPECT_FALSE(equal(makeSetting(ISetting::doubleType, 1.0),
                       makeSetting(ISetting::doubleType, std::nextafter(1.0, 2.0))));
}

TEST(SettingEquality, DifferentTypesAreUnequalWhateverTheValue) {
    EXPECT_FALSE(equal(makeSetting(ISetting::int32Type, int32_t{1}),
                       makeSetting(ISetting::uint32Type, uint32_t{1})));
    EXPECT_FALSE(equal(makeSetting(ISetting::stringType, std::string()), makeBinarySetting({})));
    EXPECT_TRUE(equal(makeSetting(ISetting::int32Type, int32_t{1}),
                      makeSetting(ISetting::int32Type, int32_t{1})));
}

TEST(SettingEquality, OnlyTheStoreOfTheTypeIsCompared) {
    const AutoRefCounted<ISetting> left = makeSetting(ISetting::stringType, std::string("a"));
    const AutoRefCounted<ISetting> right = makeSetting(ISetting::stringType, std::string("b"));
    left->initialize(ISetting::boolType);
    right->initialize(ISetting::boolType);
    EXPECT_TRUE(equal(left, right));
}

TEST(SettingEquality, StringsCompareLengthAndCharacters) {
    EXPECT_TRUE(equal(makeSetting(ISetting::stringType, std::string("ab\0c", 4)),
                      makeSetting(ISetting::stringType, std::string("ab\0c", 4))));
    EXPECT_FALSE(equal(makeSetting(ISetting::stringType, std::string("ab\0c", 4)),
                       makeSetting(ISetting::stringType, std::string("ab"))));
    EXPECT_FALSE(equal(makeSetting(ISetting::unicodeString, std::wstring(L"ab")),
                       makeSetting(ISetting::unicodeString, std::wstring(L"aB"))));
}

TEST(SettingEquality, TheOtherSettingIsReadThroughItsInterfaceOnly) {
    using testsupport::foreign;
    EXPECT_TRUE(equal(makeSetting(ISetting::int16Type, int16_t{-2}),
                      foreign(makeSetting(ISetting::int16Type, int16_t{-2}))));
    EXPECT_FALSE(equal(makeSetting(ISetting::int16Type, int16_t{-2}),
                       foreign(makeSetting(ISetting::uint16Type, uint16_t{0xFFFE}))));
    EXPECT_TRUE(equal(makeSetting(ISetting::stringType, std::string("s")),
                      foreign(makeSetting(ISetting::stringType, std::string("s")))));
    EXPECT_TRUE(equal(makeBinarySetting({4, 5}), foreign(makeBinarySetting({4, 5}))));
    EXPECT_FALSE(equal(makeBinarySetting({4, 5}), foreign(makeBinarySetting({4, 6}))));
    EXPECT_TRUE(equal(makeSetting(ISetting::doubleType, 0.0),
                      foreign(makeSetting(ISetting::doubleType, -0.0))));
}

TEST(SettingEquality, BuffersCompareLengthAndBytes) {
    EXPECT_TRUE(equal(makeBinarySetting({}), makeBinarySetting({})));
    EXPECT_TRUE(equal(makeBinarySetting({1, 2, 3}), makeBinarySetting({1, 2, 3})));
    EXPECT_FALSE(equal(makeBinarySetting({1, 2, 3}), makeBinarySetting({1, 2, 4})));
    EXPECT_FALSE(equal(makeBinarySetting({1, 2}), makeBinarySetting({1, 2, 3})));
    EXPECT_FALSE(equal(makeBinarySetting({}), makeBinarySetting({0})));
}

}  // namespace
