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

uint32_t countOf(const void* object) {
    const IRefCounted* counted = static_cast<const ISetting*>(object);
    counted->addRef();
    return counted->release();
}

uint32_t setCountOf(const void* object) {
    const IRefCounted* counted = static_cast<const IConfigurationSet*>(object);
    counted->addRef();
    return counted->release();
}

std::string lastError() {
    uint32_t required = 0;
    Configuration_getLastErrorMessage(nullptr, 0, &required);
    std::string text(required, '\0');
    Configuration_getLastErrorMessage(reinterpret_cast<unsigned char*>(&text[0]), required,
                                      &required);
    text.resize(required - 1);
    return text;
}

const unsigned char* u(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

// A set whose operations fail in ways the library's own sets only do in rare conditions.
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

}  // namespace

TEST(ConfigurationAPICounts, CreatedObjectsCarryTheCallersReferenceAndCallsBalanceTheCount) {
    void* set = nullptr;
    void* setting = nullptr;
    ASSERT_EQ(0u,
              ConfigurationSetFactory_createConfigurationSet(u("BinaryConfigurationSet"), &set));
    ASSERT_EQ(0u, ConfigurationSetFactory_createSetting(&setting));
    EXPECT_EQ(1u, setCountOf(set));
    EXPECT_EQ(1u, countOf(setting));

    ASSERT_EQ(0u, ConfigurationSet_insertSetting(set, u("a"), setting));
    EXPECT_EQ(2u, countOf(setting));  // the caller's and the set's
    ASSERT_EQ(8u, ConfigurationSet_insertSetting(set, u("a"), setting));
    EXPECT_EQ(2u, countOf(setting));

    void* first = nullptr;
    void* second = nullptr;
    ASSERT_EQ(0u, ConfigurationSet_retrieveSetting(set, u("a"), &first));
    uint32_t required = 0;
    ASSERT_EQ(
        0u, ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, &second, nullptr, 0, &required));
    EXPECT_EQ(setting, first);
    EXPECT_EQ(setting, second);
    EXPECT_EQ(4u, countOf(setting));
    void* untouched = &set;
    EXPECT_EQ(7u, ConfigurationSet_retrieveSetting(set, u("b"), &untouched));
    EXPECT_EQ(4u, countOf(setting));

    Setting_releaseInstance(first);
    Setting_releaseInstance(second);
    EXPECT_EQ(2u, countOf(setting));
    ConfigurationSet_releaseInstance(set);
    EXPECT_EQ(1u, countOf(setting));
    Setting_releaseInstance(setting);
}

TEST(ConfigurationAPICounts, ACallHoldsItsOwnReferenceAndGivesItBack) {
    AutoRefCounted<FailingSet> set(new FailingSet());
    uint32_t count = 99;
    ASSERT_EQ(0u, ConfigurationSet_getSettingCount(
                      static_cast<IConfigurationSet*>(set.operator->()), &count));
    EXPECT_EQ(2u, set->countDuringCall);
    EXPECT_EQ(1u, countOf(static_cast<const IConfigurationSet*>(set.operator->())));

    // A refused argument takes no reference at all.
    set->countDuringCall = 0;
    EXPECT_EQ(1u, ConfigurationSet_getSettingCount(
                      static_cast<IConfigurationSet*>(set.operator->()), nullptr));
    EXPECT_EQ(0u, set->countDuringCall);
}

TEST(ConfigurationAPIUntranslated, ASetFunctionReportsOtherFailuresAsSerializationFailure) {
    AutoRefCounted<FailingSet> set(new FailingSet());
    void* instance = static_cast<IConfigurationSet*>(set.operator->());
    uint32_t required = 17;
    EXPECT_EQ(5u, ConfigurationSet_serialize(instance, nullptr, 0, &required));
    EXPECT_EQ(17u, required);
    EXPECT_EQ("out of memory", lastError());
    EXPECT_EQ(1u, countOf(static_cast<const IConfigurationSet*>(set.operator->())));
}

TEST(ConfigurationAPIUntranslated, InsertingASettingTheLibraryDidNotMakeFailsWithoutChange) {
    void* set = nullptr;
    ConfigurationSetFactory_createConfigurationSet(u("ConfigurationSet"), &set);
    AutoRefCounted<ISetting> foreign(
        new testsupport::ForeignSetting(AutoRefCounted<ISetting>(new Setting())));
    EXPECT_EQ(5u, ConfigurationSet_insertSetting(set, u("a"), foreign.operator->()));
    EXPECT_NE(std::string::npos, lastError().find("the library created"));
    uint32_t count = 9;
    EXPECT_EQ(0u, ConfigurationSet_getSettingCount(set, &count));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(1u, countOf(foreign.operator->()));
    ConfigurationSet_releaseInstance(set);
}

TEST(ConfigurationAPIUntranslated, ASettingFunctionReportsOtherFailuresAsBadArgument) {
    AutoRefCounted<ISetting> setting(new ThrowingSetting());
    setting->initialize(ISetting::uint32Type);
    uint32_t value = 3;
    EXPECT_EQ(1u, Setting_getUINT32(setting.operator->(), &value));
    EXPECT_EQ(3u, value);
    EXPECT_EQ("Setting_getUINT32: disk on fire", lastError());
    EXPECT_EQ(1u, countOf(setting.operator->()));

    // Out of memory in a resize reports no length.
    setting->initialize(ISetting::binaryType);
    uint32_t length = 1000;
    EXPECT_EQ(1u, Setting_resizeBinaryBuffer(setting.operator->(), &length));
    EXPECT_EQ(1000u, length);
    EXPECT_EQ("out of memory", lastError());
}

TEST(ConfigurationAPIErrors, TheLastErrorMessageBelongsToTheCallingThread) {
    void* set = nullptr;
    ConfigurationSetFactory_createConfigurationSet(u("ConfigurationSet"), &set);
    EXPECT_EQ(7u, ConfigurationSet_removeSetting(set, u("here")));
    std::string seenByOtherThread = "unset";
    std::thread other([&] {
        seenByOtherThread = lastError();
        ConfigurationSet_removeSetting(set, u("there"));
    });
    other.join();
    EXPECT_EQ("", seenByOtherThread);
    EXPECT_EQ("no setting at path 'here'", lastError());
    ConfigurationSet_releaseInstance(set);
}

TEST(ConfigurationAPIFactory, BothEntryPointsReachTheSameFactory) {
    const IConfigurationSetFactory* factory = getConfigurationSetFactory();
    ASSERT_NE(nullptr, factory);
    EXPECT_EQ(static_cast<const IFactory*>(factory), getFactory());
    EXPECT_EQ("ConfigurationSetFactory", *getFactory()->getFactoryType());
    EXPECT_THROW(factory->createConfigurationSet("configurationSet"),
                 IConfigurationSetFactory::ConfigurationSetFactoryException);
}

TEST(ConfigurationAPIText, AValueHoldingANulIsCopiedUpToItWhileTheLengthCountsItAll) {
    AutoRefCounted<ISetting> setting(new Setting());
    setting->initialize(ISetting::stringType);
    setting->setValue(std::string("ab\0cd", 5));
    unsigned char text[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    uint32_t required = 0;
    ASSERT_EQ(0u, Setting_getString(setting.operator->(), text, sizeof text, &required));
    EXPECT_EQ(6u, required);
    EXPECT_EQ(0, std::memcmp(text, "ab\0xxxxx", sizeof text));
}

// A text of 4 GiB or more never fits a 32-bit capacity: nothing is copied, whatever the capacity,
// and the required length is reported as the largest count rather than cut to a small one.
TEST(ConfigurationAPIText, TextLongerThanA32BitCountIsNeverCopied) {
    const char text[] = "abcd";
    for (const size_t length : {size_t{1} << 32, (size_t{1} << 32) + 4, size_t{UINT32_MAX}}) {
        for (const uint32_t capacity : {uint32_t{16}, uint32_t{UINT32_MAX}}) {
            unsigned char buffer[16] = {'x'};
            uint32_t required = 0;
            EXPECT_FALSE(api::copyText(text, length, buffer, capacity, &required)) << length;
            EXPECT_EQ(UINT32_MAX, required);
            EXPECT_EQ('x', buffer[0]);
        }
    }
}
