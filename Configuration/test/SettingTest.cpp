// The typed setting on its own: out pointers, the stores kept across initialize(), the binary
// buffer, the modified flag it raises, and equality. (The model test covers typed values.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
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

using Call = std::function<void()>;

auto settingExceptionOf(const Call& call) {
    return testsupport::thrownValue<ISetting::SettingException>(call);
}

// A fresh setting is a bool holding false; a read of another type fails and leaves the out value;
// a null out pointer is reported before the wrong type.
TEST(Setting, AFreshSettingIsFalseAndRefusesOtherTypesAndNullOutPointers) {
    const AutoRefCounted<ISetting> setting(new Setting());
    EXPECT_EQ(ISetting::boolType, setting->getType());
    bool value = true;
    setting->getValue(&value);
    EXPECT_FALSE(value);
    uint32_t other = 7;
    EXPECT_EQ(ISetting::wrongSettingTypeException,
              settingExceptionOf([&] { setting->getValue(&other); }));
    EXPECT_EQ(7u, other);
    size_t length = 0;
    const unsigned char* locked = nullptr;
    unsigned char* writable = nullptr;
    const std::vector<Call> calls{
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

// The scalar union, the string and the buffer all survive a change of type; any non-zero byte
// reads as true.
TEST(Setting, InitializeKeepsEveryStoreForALaterReturn) {
    const AutoRefCounted<ISetting> setting = makeSetting(ISetting::int32Type, int32_t{-1});
    setting->initialize(ISetting::uint32Type);
    uint32_t value = 0;
    setting->getValue(&value);
    EXPECT_EQ(4294967295u, value);
    setting->initialize(ISetting::boolType);
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

// The string getters lend the setting's own string, which later sets change in place.
TEST(Setting, TheStringGettersLendTheSettingsOwnString) {
    const AutoRefCounted<ISetting> setting = makeSetting(ISetting::stringType, std::string("one"));
    const std::string* first = nullptr;
    setting->getValue(&first);
    setting->setValue(std::string("two"));
    EXPECT_EQ("two", *first);
    setting->initialize(ISetting::unicodeString);
    const std::wstring* wide = nullptr;
    setting->getValue(&wide);
    setting->setValue(std::wstring(L"\U0001F600"));
    EXPECT_EQ(std::wstring(L"\U0001F600"), *wide);
}

TEST(Setting, ResizingKeepsTheLeadingBytesAndZeroLeavesNoStorage) {
    const AutoRefCounted<ISetting> setting = makeBinarySetting({1, 2, 3, 4});
    const unsigned char* buffer = nullptr;
    for (size_t wanted : {8u, 2u, 0u}) {
        size_t length = wanted;
        setting->resizeBinaryBuffer(&length);
        EXPECT_EQ(wanted, length);
        buffer = reinterpret_cast<const unsigned char*>(1);
        setting->getLockedBinaryBuffer(&buffer, &length);
        ASSERT_EQ(wanted, length);
        EXPECT_TRUE(wanted == 0 ? buffer == nullptr
                                : std::memcmp(buffer, "\x01\x02\x03\x04",
                                              std::min<size_t>(wanted, 4)) == 0);
    }
    const AutoRefCounted<ISetting> text = makeSetting(ISetting::stringType, std::string("s"));
    size_t length = 4;
    EXPECT_THROW(text->resizeBinaryBuffer(&length), ISetting::SettingException);
    EXPECT_THROW(text->resizeBinaryBuffer(nullptr), ISetting::SettingException);
    text->initialize(ISetting::binaryType);
    text->getBinaryLength(&length);
    EXPECT_EQ(0u, length);
}

// Every successful set (an equal value too) and writable buffer access raises the setting's flag;
// initialize, reads and failed operations raise nothing. A size no allocator can give leaves the
// buffer, reports its length and still counts as a change.
TEST(Setting, RaisesItsModifiedFlagOnEverySuccessfulChangeOnly) {
    const AutoRefCounted<SharedFlag> flag(new SharedFlag(false));
    const AutoRefCounted<Setting> setting(new Setting());
    setting->setModifiedFlag(flag);
    unsigned char* buffer = nullptr;
    const unsigned char* locked = nullptr;
    size_t length = 1;
    double number = 0;
    setting->initialize(ISetting::doubleType);
    setting->getValue(&number);
    EXPECT_ANY_THROW(setting->setValue(true));
    EXPECT_ANY_THROW(setting->setValue(std::string("x")));
    EXPECT_ANY_THROW(setting->setValue(std::wstring(L"x")));
    EXPECT_ANY_THROW(setting->getBinaryBuffer(&buffer, &length));
    EXPECT_ANY_THROW(setting->resizeBinaryBuffer(&length));
    setting->initialize(ISetting::binaryType);
    EXPECT_ANY_THROW(setting->getBinaryBuffer(nullptr, &length));
    setting->getLockedBinaryBuffer(&locked, &length);
    setting->getBinaryLength(&length);
    setting->equals(static_pointer_cast<const ISetting>(setting));
    EXPECT_FALSE(flag->checkFlagged());
    const std::vector<Call> changes{
        [&] { setting->getBinaryBuffer(&buffer, &length); },
        [&] { setting->resizeBinaryBuffer(&(length = 0)); },
        [&] { setting->resizeBinaryBuffer(&(length = 3)); },
        [&] {
            setting->getBinaryBuffer(&buffer, &length);
            std::memcpy(buffer, "abc", 3);
            EXPECT_THROW(setting->resizeBinaryBuffer(&(length = SIZE_MAX - 15)), std::bad_alloc);
            EXPECT_EQ(3u, length);
        },
        [&] { setting->initialize(ISetting::int64Type), setting->setValue(int64_t{0}); },
        [&] { setting->setValue(int64_t{0}); },
        [&] { setting->initialize(ISetting::stringType), setting->setValue(std::string()); },
        [&] { setting->initialize(ISetting::unicodeString), setting->setValue(std::wstring()); },
    };
    for (size_t change = 0; change < changes.size(); ++change) {
        changes[change]();
        EXPECT_TRUE(flag->checkFlagged()) << "change " << change;
    }
    setting->initialize(ISetting::binaryType);
    setting->getLockedBinaryBuffer(&locked, &length);
    ASSERT_EQ(3u, length);
    EXPECT_EQ(0, std::memcmp(locked, "abc", 3));
}

TEST(Setting, AnUnknownTypeRefusesEveryAccessorAndEqualsNothing) {
    const AutoRefCounted<ISetting> setting(new Setting());
    setting->initialize(static_cast<ISetting::Type>(42));
    EXPECT_EQ(42u, static_cast<unsigned>(setting->getType()));
    bool flag = false;
    double number = 0;
    const std::string* text = nullptr;
    size_t length = 0;
    for (const Call& call : std::vector<Call>{
             [&] { setting->getValue(&flag); }, [&] { setting->setValue(true); },
             [&] { setting->getValue(&number); }, [&] { setting->setValue(1.0); },
             [&] { setting->getValue(&text); }, [&] { setting->getBinaryLength(&length); }}) {
        EXPECT_EQ(ISetting::wrongSettingTypeException, settingExceptionOf(call));
    }
    EXPECT_FALSE(setting->equals(const_pointer_cast<const ISetting>(setting)));
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

TEST(Setting, EqualityComparesTheTypeAndTheStoreOfTheTypeOnly) {
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
    // The model test compares random values; these are the cases it seldom draws.
    const std::vector<Case> cases{
        {"float NaN with itself", floatNaN, floatNaN, false},
        {"double NaN with itself", doubleNaN, doubleNaN, false},
        {"float +0/-0", f32(0.0f), f32(-0.0f), true},
        {"double -0/+0", f64(-0.0), f64(0.0), true},
        {"neighbouring doubles", f64(1.0), f64(std::nextafter(1.0, 2.0)), false},
        {"int16 and uint16", i16(1), makeSetting(ISetting::uint16Type, uint16_t{1}), false},
        {"stores of other types", boolFromA, boolFromB, true},
        {"strings with NUL", str(nul), str(nul), true},
        {"string and its prefix", str(nul), str("ab"), false},
        {"buffers of two lengths", bin({1, 2}), bin({1, 2, 3}), false},
        {"empty and zero byte", bin({}), bin({0}), false},
        // The other setting is read through its interface only.
        {"foreign uint16", i16(-2), foreign(makeSetting(ISetting::uint16Type, uint16_t{0xFFFE})),
         false},
        {"foreign buffer", bin({4, 5}), foreign(bin({4, 5})), true},
        {"foreign -0", f64(0.0), foreign(f64(-0.0)), true},
    };
    for (const Case& test : cases) {
        EXPECT_EQ(test.equal, test.left->equals(const_pointer_cast<const ISetting>(test.right)))
            << test.name;
    }
}

}  // namespace
