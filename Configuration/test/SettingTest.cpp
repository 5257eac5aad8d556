// The typed setting: type checks, the stores kept across initialize(), the binary buffer, the
// modified flag it raises and equality.
#include <gtest/gtest.h>

#include <algorithm>
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

// The scalar union, the string and the buffer all survive a change of type.
TEST(Setting, InitializeKeepsEveryStoreForALaterReturn) {
    const AutoRefCounted<ISetting> setting = makeSetting(ISetting::int32Type, int32_t{-1});
    setting->initialize(ISetting::uint32Type);
    uint32_t value = 0;
    setting->getValue(&value);
    EXPECT_EQ(4294967295u, value);
    setting->initialize(ISetting::uint16Type);
    uint16_t narrow = 0;
    setting->getValue(&narrow);
    EXPECT_EQ(0xFFFF, narrow);
    setting->initialize(ISetting::boolType);  // any non-zero byte reads as true
    bool flag = false;
    setting->getValue(&flag);
    EXPECT_TRUE(flag);
    EXPECT_TRUE(
        setting->equals(const_pointer_cast<const ISetting>(makeSetting(ISetting::boolType, true))));

    setting->initialize(ISetting::stringType);
    setting->setValue(std::string("kept"));
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

TEST(Setting, TheStringGettersLendTheSettingsOwnString) {
    const AutoRefCounted<ISetting> setting = makeSetting(ISetting::stringType, std::string("one"));
    const std::string* first = nullptr;
    const std::string* second = nullptr;
    setting->getValue(&first);
    setting->setValue(std::string("two"));
    setting->getValue(&second);
    EXPECT_EQ(first, second);
    EXPECT_EQ("two", *first);
    setting->initialize(ISetting::unicodeString);
    setting->setValue(std::wstring(L"ä"));
    const std::wstring* wideFirst = nullptr;
    const std::wstring* wideSecond = nullptr;
    setting->getValue(&wideFirst);
    setting->setValue(std::wstring(L"\U0001F600"));
    setting->getValue(&wideSecond);
    EXPECT_EQ(wideFirst, wideSecond);
    EXPECT_EQ(std::wstring(L"\U0001F600"), *wideFirst);
}

TEST(Setting, ResizingKeepsTheLeadingBytesAndZeroLeavesNoStorage) {
    const AutoRefCounted<ISetting> setting = makeBinarySetting({1, 2, 3, 4});
    const unsigned char* buffer = nullptr;
    for (size_t wanted : {8u, 2u}) {
        size_t length = wanted;
        setting->resizeBinaryBuffer(&length);
        EXPECT_EQ(wanted, length);
        setting->getLockedBinaryBuffer(&buffer, &length);
        ASSERT_EQ(wanted, length);
        EXPECT_EQ(0, std::memcmp(buffer, "\x01\x02\x03\x04", std::min<size_t>(wanted, 4)));
    }
    size_t length = 0;
    setting->resizeBinaryBuffer(&length);
    buffer = reinterpret_cast<const unsigned char*>(1);
    length = 9;
    setting->getLockedBinaryBuffer(&buffer, &length);
    EXPECT_EQ(nullptr, buffer);
    EXPECT_EQ(0u, length);

    const AutoRefCounted<ISetting> text = makeSetting(ISetting::stringType, std::string("s"));
    length = 4;
    EXPECT_THROW(text->resizeBinaryBuffer(&length), ISetting::SettingException);
    EXPECT_THROW(text->resizeBinaryBuffer(nullptr), ISetting::SettingException);
    text->initialize(ISetting::binaryType);
    text->getBinaryLength(&length);
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

TEST_F(FlaggedSetting, EverySuccessfulSetAndWritableBinaryAccessRaisesTheFlag) {
    d_setting->initialize(ISetting::int64Type);
    EXPECT_FALSE(raised());
    for (int round = 0; round < 2; ++round) {  // the second time with an equal value
        d_setting->setValue(int64_t{4});
        EXPECT_TRUE(raised());
    }
    d_setting->initialize(ISetting::stringType);
    d_setting->setValue(std::string());
    EXPECT_TRUE(raised());
    d_setting->initialize(ISetting::unicodeString);
    d_setting->setValue(std::wstring());
    EXPECT_TRUE(raised());
    d_setting->initialize(ISetting::binaryType);
    unsigned char* buffer = nullptr;
    size_t length = 0;
    d_setting->getBinaryBuffer(&buffer, &length);
    EXPECT_TRUE(raised());
    for (size_t wanted : {4u, 0u}) {
        length = wanted;
        d_setting->resizeBinaryBuffer(&length);
        EXPECT_TRUE(raised());
    }
}

TEST_F(FlaggedSetting, InitializeReadsAndFailedOperationsRaiseNothing) {
    d_setting->initialize(ISetting::doubleType);
    double value = 0;
    d_setting->getValue(&value);
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
    const unsigned char* locked = nullptr;
    d_setting->getLockedBinaryBuffer(&locked, &length);
    d_setting->getBinaryLength(&length);
    EXPECT_TRUE(d_setting->equals(static_pointer_cast<const ISetting>(d_setting)));
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

AutoRefCounted<ISetting> f32(float value) {
    return makeSetting(ISetting::floatType, value);
}
AutoRefCounted<ISetting> f64(double value) {
    return makeSetting(ISetting::doubleType, value);
}
AutoRefCounted<ISetting> str(const std::string& value) {
    return makeSetting(ISetting::stringType, value);
}
AutoRefCounted<ISetting> wide(const std::wstring& value) {
    return makeSetting(ISetting::unicodeString, value);
}

TEST(SettingEquality, ComparesTheTypeAndTheStoreOfTheTypeOnly) {
    using testsupport::foreign;
    const auto floatNaN = f32(std::numeric_limits<float>::quiet_NaN());
    const auto doubleNaN = f64(std::numeric_limits<double>::quiet_NaN());
    const auto boolFromA = str("a");
    const auto boolFromB = str("b");
    boolFromA->initialize(ISetting::boolType);
    boolFromB->initialize(ISetting::boolType);
    const auto i16 = [](int16_t value) { return makeSetting(ISetting::int16Type, value); };
    const auto bin = makeBinarySetting;
    const std::string nul("ab\0c", 4);
    struct Case {
        const char* name;
        AutoRefCounted<ISetting> left;
        AutoRefCounted<ISetting> right;
        bool equal;
    };
    const std::vector<Case> cases{
        {"float NaN with itself", floatNaN, floatNaN, false},
        {"double NaN with itself", doubleNaN, doubleNaN, false},
        {"float +0/-0", f32(0.0f), f32(-0.0f), true},
        {"double -0/+0", f64(-0.0), f64(0.0), true},
        {"neighbouring doubles", f64(1.0), f64(std::nextafter(1.0, 2.0)), false},
        {"int16 and uint16", i16(1), makeSetting(ISetting::uint16Type, uint16_t{1}), false},
        {"empty string and empty buffer", str(""), bin({}), false},
        {"equal int16", i16(1), i16(1), true},
        {"stores of other types", boolFromA, boolFromB, true},
        {"strings with NUL", str(nul), str(nul), true},
        {"string and its prefix", str(nul), str("ab"), false},
        {"wide strings", wide(L"ab"), wide(L"aB"), false},
        {"empty buffers", bin({}), bin({}), true},
        {"equal buffers", bin({1, 2, 3}), bin({1, 2, 3}), true},
        {"buffers differing in a byte", bin({1, 2, 3}), bin({1, 2, 4}), false},
        {"buffers of two lengths", bin({1, 2}), bin({1, 2, 3}), false},
        {"empty and zero byte", bin({}), bin({0}), false},
        // The other setting is read through its interface only.
        {"foreign int16", i16(-2), foreign(i16(-2)), true},
        {"foreign uint16", i16(-2), foreign(makeSetting(ISetting::uint16Type, uint16_t{0xFFFE})),
         false},
        {"foreign string", str("s"), foreign(str("s")), true},
        {"foreign buffer", bin({4, 5}), foreign(bin({4, 5})), true},
        {"foreign other buffer", bin({4, 5}), foreign(bin({4, 6})), false},
        {"foreign -0", f64(0.0), foreign(f64(-0.0)), true},
    };
    for (const Case& test : cases) {
        EXPECT_EQ(test.equal, test.left->equals(const_pointer_cast<const ISetting>(test.right)))
            << test.name;
    }
}

}  // namespace
