// The typed setting on its own: out pointers, unknown types, the stores kept across initialize(),
// the binary buffer, the modified flag it raises, and equality. (The model test covers values.)
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <tuple>

#include <orvandel/configuration/internal/SharedFlag.h>

#include "ForeignSetting.h"
#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::makeBinarySetting;
using testsupport::makeSetting;

namespace {

// A fresh setting is a bool holding false. A read of another type fails and leaves the out value;
// a null out pointer is reported before the wrong type; a type outside the known ones refuses
// every accessor and equals nothing, itself included.
TEST(Setting, RefusesOtherTypesNullOutPointersAndUnknownTypes) {
    const AutoRefCounted<ISetting> fresh(new Setting());
    const AutoRefCounted<ISetting> odd(new Setting());
    odd->initialize(static_cast<ISetting::Type>(42));
    EXPECT_FALSE(odd->equals(const_pointer_cast<const ISetting>(odd)));
    bool flag = true;
    fresh->getValue(&flag);
    EXPECT_FALSE(flag);
    uint32_t number = 7;
    const std::string* text = nullptr;
    size_t length = 0;
    const unsigned char* locked = nullptr;
    unsigned char* writable = nullptr;
    const auto wrong = ISetting::wrongSettingTypeException;
    const auto null = ISetting::badOutPointer;
    const std::pair<std::function<void()>, ISetting::SettingException> calls[] = {
        {[&] { fresh->getValue(static_cast<bool*>(nullptr)); }, null},
        {[&] { fresh->getValue(static_cast<uint32_t*>(nullptr)); }, null},
        {[&] { fresh->getValue(static_cast<const std::string**>(nullptr)); }, null},
        {[&] { fresh->getValue(static_cast<const std::wstring**>(nullptr)); }, null},
        {[&] { fresh->getLockedBinaryBuffer(nullptr, &length); }, null},
        {[&] { fresh->getLockedBinaryBuffer(&locked, nullptr); }, null},
        {[&] { fresh->getBinaryBuffer(nullptr, &length); }, null},
        {[&] { fresh->getBinaryBuffer(&writable, nullptr); }, null},
        {[&] { fresh->getBinaryLength(nullptr); }, null},
        {[&] { fresh->resizeBinaryBuffer(nullptr); }, null},
        {[&] { odd->getValue(&flag); }, wrong},
        {[&] { odd->setValue(true); }, wrong},
        {[&] { odd->getValue(&number); }, wrong},
        {[&] { odd->getValue(&text); }, wrong},
        {[&] { odd->getLockedBinaryBuffer(&locked, &length); }, wrong},
    };
    for (size_t row = 0; row < std::size(calls); ++row) {
        EXPECT_EQ(calls[row].second,
                  testsupport::thrownValue<ISetting::SettingException>(calls[row].first))
            << "row " << row;
    }
    EXPECT_EQ(7u, number);
}

// The scalar union, the string and the buffer all survive a change of type, and the string
// getters lend the setting's own string; any non-zero byte reads as true.
TEST(Setting, InitializeKeepsEveryStoreAndTheGettersLendTheOwnString) {
    const AutoRefCounted<ISetting> setting = makeSetting(ISetting::int32Type, int32_t{-1});
    setting->initialize(ISetting::uint32Type);
    uint32_t value = 0;
    setting->getValue(&value);
    EXPECT_EQ(4294967295u, value);
    setting->initialize(ISetting::boolType);
    EXPECT_TRUE(
        setting->equals(const_pointer_cast<const ISetting>(makeSetting(ISetting::boolType, true))));
    setting->initialize(ISetting::stringType);
    const std::string* text = nullptr;
    setting->getValue(&text);
    setting->setValue(std::string("kept"));
    setting->initialize(ISetting::binaryType);
    size_t length = 3;
    setting->resizeBinaryBuffer(&length);
    setting->initialize(ISetting::unicodeString);
    const std::wstring* wide = nullptr;
    setting->getValue(&wide);
    setting->setValue(std::wstring(L"\U0001F600"));
    EXPECT_EQ(std::wstring(L"\U0001F600"), *wide);
    setting->initialize(ISetting::stringType);
    EXPECT_EQ("kept", *text);
    setting->initialize(ISetting::binaryType);
    setting->getBinaryLength(&length);
    EXPECT_EQ(3u, length);
}

// Writable buffer access and every successful set (an equal value too) raise the setting's flag;
// initialize, reads and failed accesses raise nothing. Resizing keeps the leading bytes and zero
// leaves no storage; a size no allocator can give leaves the buffer, reports its length and still
// counts as a change. (The model test checks typed sets.)
TEST(Setting, RaisesItsFlagOnEverySuccessfulChangeAndResizesKeepingTheLeadingBytes) {
    const AutoRefCounted<SharedFlag> flag(new SharedFlag(false));
    const AutoRefCounted<Setting> setting(new Setting());
    setting->setModifiedFlag(flag);
    unsigned char* buffer = nullptr;
    size_t length = 3;
    setting->initialize(ISetting::binaryType);
    EXPECT_ANY_THROW(setting->getBinaryBuffer(nullptr, &length));
    setting->getBinaryLength(&length);
    EXPECT_FALSE(flag->checkFlagged());
    setting->getBinaryBuffer(&buffer, &length);
    EXPECT_TRUE(flag->checkFlagged());
    setting->resizeBinaryBuffer(&(length = 3));
    setting->getBinaryBuffer(&buffer, &length);
    std::memcpy(buffer, "abc", 3);
    flag->checkFlagged();
    for (const size_t wanted : {SIZE_MAX - 15, size_t{8}, size_t{2}, size_t{0}}) {
        const size_t kept = wanted > 8 ? 3 : wanted;
        if (wanted > 8) {
            EXPECT_THROW(setting->resizeBinaryBuffer(&(length = wanted)), std::bad_alloc);
        } else {
            setting->resizeBinaryBuffer(&(length = wanted));
        }
        EXPECT_EQ(kept, length);
        EXPECT_TRUE(flag->checkFlagged());
        auto locked = reinterpret_cast<const unsigned char*>(1);
        setting->getLockedBinaryBuffer(&locked, &length);
        ASSERT_EQ(kept, length);
        EXPECT_TRUE(kept == 0 ? locked == nullptr
                              : std::memcmp(locked, "abc", std::min<size_t>(kept, 3)) == 0);
    }
    setting->initialize(ISetting::stringType);
    setting->setValue(std::string());
    flag->checkFlagged();
    setting->setValue(std::string());  // the same value again
    EXPECT_TRUE(flag->checkFlagged());
}

// The model test compares random values of every type, foreign ones too; these are the cases it
// seldom or never draws.
TEST(Setting, EqualityComparesTheTypeAndTheStoreOfTheTypeOnly) {
    const auto f64 = [](double value) { return makeSetting(ISetting::doubleType, value); };
    const auto str = [](const std::string& value) {
        return makeSetting(ISetting::stringType, value);
    };
    const auto nan = makeSetting(ISetting::floatType, std::numeric_limits<float>::quiet_NaN());
    const auto boolFromA = str("a");
    const auto boolFromB = str("b");
    boolFromA->initialize(ISetting::boolType);
    boolFromB->initialize(ISetting::boolType);
    const std::string nul("ab\0c", 4);
    using Case = std::tuple<AutoRefCounted<ISetting>, AutoRefCounted<ISetting>, bool>;
    const Case cases[] = {
        {nan, nan, false},
        {f64(-0.0), f64(0.0), true},
        {f64(1.0), f64(std::nextafter(1.0, 2.0)), false},
        {boolFromA, boolFromB, true},  // the stores of other types do not count
        {str(nul), str(nul), true},
        {str(nul), str("ab"), false},
        {f64(0.0), testsupport::foreign(f64(-0.0)), true},
    };
    for (size_t row = 0; row < std::size(cases); ++row) {
        const auto& [left, right, equal] = cases[row];
        EXPECT_EQ(equal, left->equals(const_pointer_cast<const ISetting>(right))) << "row " << row;
    }
}

}  // namespace
