// The flat interface seen from C++, where the reference counts and the library's insides can be
// watched: counts across handing out and giving back, the handle a call holds, and the rule for
// exceptions that no family translates.
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>

#include <orvandel/configuration/ConfigurationAPI.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/internal/ApiBuffers.h>
#include <orvandel/configuration/internal/BinaryConfigurationSet.h>
#include <orvandel/configuration/internal/Setting.h>

#include "ForeignSetting.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;

namespace {

uint32_t countOf(const IRefCounted* counted) {
    counted->addRef();
    return counted->release();
}
uint32_t countOf(const void* setting) {
    return countOf(static_cast<const ISetting*>(setting));
}

std::string lastError() {
    unsigned char text[256] = {};
    uint32_t required = 0;
    EXPECT_EQ(0u, Configuration_getLastErrorMessage(text, sizeof text, &required));
    return reinterpret_cast<const char*>(text);
}

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

const unsigned char* u(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

// A set whose serialisation runs out of memory, and which counts its references mid-call.
class FailingSet : public BinaryConfigurationSet {
  public:
    void serialize(unsigned char*, size_t, size_t*) override { throw std::bad_alloc(); }
    size_t getSettingCount() const override {
        countDuringCall = countOf(static_cast<const IConfigurationSet*>(this));
        return 0;
    }
    mutable uint32_t countDuringCall = 0;
};

// A setting whose accessors fail with exceptions that are not the setting's own.
class ThrowingSetting : public testsupport::ForeignSetting {
  public:
    ThrowingSetting() : ForeignSetting(AutoRefCounted<ISetting>(new Setting())) {}
    void getValue(uint32_t*) const override { throw std::runtime_error("disk on fire"); }
    void resizeBinaryBuffer(size_t*) override { throw std::bad_alloc(); }
};

TEST(ConfigurationAPI, HandedOutObjectsCarryOneReferenceAndEveryCallBalancesTheCount) {
    void* set = nullptr;
    void* setting = nullptr;
    ASSERT_EQ(0u, ConfigurationSetFactory_createConfigurationSet(u("ConfigurationSet"), &set));
    ASSERT_EQ(0u, ConfigurationSetFactory_createSetting(&setting));
    EXPECT_EQ("ConfigurationSetFactory", *getFactory()->getFactoryType());
    EXPECT_EQ(1u, countOf(static_cast<const IConfigurationSet*>(set)));
    EXPECT_EQ(1u, countOf(setting));
    ASSERT_EQ(0u, ConfigurationSet_insertSetting(set, u("a"), setting));
    ASSERT_EQ(8u, ConfigurationSet_insertSetting(set, u("a"), setting));
    EXPECT_EQ(2u, countOf(setting));  // the caller's and the set's

    void* first = nullptr;
    void* second = nullptr;
    void* untouched = &set;
    uint32_t required = 0;
    ASSERT_EQ(0u, ConfigurationSet_retrieveSetting(set, u("a"), &first));
    ASSERT_EQ(
        0u, ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, &second, nullptr, 0, &required));
    EXPECT_EQ(7u, ConfigurationSet_retrieveSetting(set, u("b"), &untouched));
    EXPECT_TRUE(first == setting && second == setting);
    EXPECT_EQ(4u, countOf(setting));
    Setting_releaseInstance(first);
    Setting_releaseInstance(second);
    ConfigurationSet_releaseInstance(set);
    EXPECT_EQ(1u, countOf(setting));
    Setting_releaseInstance(setting);

    // A call holds a reference of its own while it runs; a refused argument takes none.
    AutoRefCounted<FailingSet> failing(new FailingSet());
    void* instance = static_cast<IConfigurationSet*>(failing.operator->());
    ASSERT_EQ(0u, ConfigurationSet_getSettingCount(instance, &required));
    EXPECT_EQ(2u, failing->countDuringCall);
    failing->countDuringCall = 0;
    EXPECT_EQ(1u, ConfigurationSet_getSettingCount(instance, nullptr));
    EXPECT_EQ(0u, failing->countDuringCall);
    EXPECT_EQ(1u, countOf(static_cast<const IConfigurationSet*>(failing.operator->())));
}

// What no family translates stops at the boundary: 5 from a set function, 1 from a setting
// function, outputs untouched, the count balanced and a message that says what happened.
TEST(ConfigurationAPI, UntranslatedFailuresStopAtTheBoundaryWithoutChange) {
    AutoRefCounted<FailingSet> set(new FailingSet());
    uint32_t kept = 17;
    EXPECT_EQ(5u, ConfigurationSet_serialize(static_cast<IConfigurationSet*>(set.operator->()),
                                             nullptr, 0, &kept));
    EXPECT_EQ(17u, kept);
    EXPECT_TRUE(contains(lastError(), "out of memory")) << lastError();
    EXPECT_EQ(1u, countOf(static_cast<const IConfigurationSet*>(set.operator->())));

    AutoRefCounted<ISetting> throwing(new ThrowingSetting());
    throwing->initialize(ISetting::uint32Type);
    EXPECT_EQ(1u, Setting_getUINT32(throwing.operator->(), &kept));
    EXPECT_EQ(17u, kept);
    EXPECT_TRUE(contains(lastError(), "Setting_getUINT32: disk on fire")) << lastError();
    EXPECT_EQ(1u, countOf(throwing.operator->()));
    throwing->initialize(ISetting::binaryType);
    EXPECT_EQ(1u, Setting_resizeBinaryBuffer(throwing.operator->(), &kept));
    EXPECT_EQ(17u, kept);
    EXPECT_TRUE(contains(lastError(), "out of memory")) << lastError();

    // A setting the library did not make is refused before the set changes.
    void* plain = nullptr;
    ConfigurationSetFactory_createConfigurationSet(u("ConfigurationSet"), &plain);
    EXPECT_EQ(5u, ConfigurationSet_insertSetting(plain, u("a"), throwing.operator->()));
    EXPECT_TRUE(contains(lastError(), "insertSetting")) << lastError();
    EXPECT_EQ(0u, ConfigurationSet_getSettingCount(plain, &kept));
    EXPECT_EQ(0u, kept);
    EXPECT_EQ(1u, countOf(throwing.operator->()));

    // The message belongs to the calling thread.
    std::string seenByOtherThread = "unset";
    std::thread other([&] {
        seenByOtherThread = lastError();
        ConfigurationSet_removeSetting(plain, u("there"));
    });
    other.join();
    EXPECT_EQ("", seenByOtherThread);
    EXPECT_TRUE(contains(lastError(), "insertSetting")) << lastError();
    ConfigurationSet_releaseInstance(plain);
}

// A value holding a NUL is copied up to it while the length counts it all; a text of 4 GiB or
// more never fits a 32-bit capacity, and its required length is the largest count.
TEST(ConfigurationAPI, TextIsCopiedOnlyWhenItsWholeLengthFits) {
    AutoRefCounted<ISetting> setting(new Setting());
    setting->initialize(ISetting::stringType);
    setting->setValue(std::string("ab\0cd", 5));
    unsigned char text[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    uint32_t required = 0;
    ASSERT_EQ(0u, Setting_getString(setting.operator->(), text, sizeof text, &required));
    EXPECT_EQ(6u, required);
    EXPECT_EQ(0, std::memcmp(text, "ab\0xxxxx", sizeof text));

    for (const size_t length : {size_t{1} << 32, (size_t{1} << 32) + 4, size_t{UINT32_MAX}}) {
        for (const uint32_t capacity : {uint32_t{16}, uint32_t{UINT32_MAX}}) {
            unsigned char buffer[16] = {'x'};
            EXPECT_FALSE(api::copyText("abcd", length, buffer, capacity, &required)) << length;
            EXPECT_EQ(UINT32_MAX, required);
            EXPECT_EQ('x', buffer[0]);
        }
    }
}

}  // namespace
