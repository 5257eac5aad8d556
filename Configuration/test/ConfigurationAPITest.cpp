// The flat interface seen from C++, where reference counts and the library's insides show: counts
// across calls, the reference a call holds, and exceptions that no family translates.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include <orvandel/configuration/ConfigurationAPI.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/internal/ApiBuffers.h>
#include <orvandel/configuration/internal/BinaryConfigurationSet.h>
#include <orvandel/configuration/internal/Setting.h>

#include "ForeignSetting.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;

namespace {

template <class Interface>
uint32_t countOf(const void* handle) {
    static_cast<const Interface*>(handle)->addRef();
    return static_cast<const Interface*>(handle)->release();
}

std::string lastError() {
    unsigned char text[256] = {};
    uint32_t required = 0;
    Configuration_getLastErrorMessage(text, sizeof text, &required);
    return reinterpret_cast<const char*>(text);
}
bool messageHas(const char* part) {
    return lastError().find(part) != std::string::npos;
}

const unsigned char* u(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

// A set whose serialisation runs out of memory, and which counts its references mid-call.
class FailingSet : public BinaryConfigurationSet {
  public:
    void serialize(unsigned char*, size_t, size_t*) override { throw std::bad_alloc(); }
    size_t getSettingCount() const override {
        countDuringCall = countOf<IConfigurationSet>(static_cast<const IConfigurationSet*>(this));
        return 0;
    }
    mutable uint32_t countDuringCall = 0;
};

// A setting whose accessor fails with an exception that is not the setting's own.
class ThrowingSetting : public testsupport::ForeignSetting {
  public:
    ThrowingSetting() : ForeignSetting(AutoRefCounted<ISetting>(new Setting())) {}
    void getValue(uint32_t*) const override { throw std::runtime_error("disk on fire"); }
};

TEST(ConfigurationAPI, HandedOutObjectsCarryOneReferenceAndEveryCallBalancesTheCount) {
    void* set = nullptr;
    void* setting = nullptr;
    void* first = nullptr;
    void* second = nullptr;
    uint32_t required = 0;
    ASSERT_EQ(0u, ConfigurationSetFactory_createConfigurationSet(u("ConfigurationSet"), &set));
    ASSERT_EQ(0u, ConfigurationSetFactory_createSetting(&setting));
    EXPECT_EQ("ConfigurationSetFactory", *getFactory()->getFactoryType());
    EXPECT_TRUE(countOf<IConfigurationSet>(set) == 1 && countOf<ISetting>(setting) == 1);
    ASSERT_EQ(0u, ConfigurationSet_insertSetting(set, u("a"), setting));
    ASSERT_EQ(8u, ConfigurationSet_insertSetting(set, u("a"), setting));
    EXPECT_EQ(2u, countOf<ISetting>(setting));  // the caller's and the set's
    ASSERT_EQ(0u, ConfigurationSet_retrieveSetting(set, u("a"), &first));
    ASSERT_EQ(
        0u, ConfigurationSet_retrieveSettingByIndex(set, u(""), 0, &second, nullptr, 0, &required));
    EXPECT_EQ(7u, ConfigurationSet_retrieveSetting(set, u("b"), &first));
    EXPECT_TRUE(first == setting && second == setting && countOf<ISetting>(setting) == 4);
    EXPECT_TRUE(Setting_releaseInstance(first) == 0 && Setting_releaseInstance(second) == 0);
    ConfigurationSet_releaseInstance(set);
    EXPECT_EQ(1u, countOf<ISetting>(setting));

    // A call holds a reference of its own while it runs; a refused argument takes none.
    AutoRefCounted<FailingSet> failing(new FailingSet());
    void* instance = static_cast<IConfigurationSet*>(failing.operator->());
    ASSERT_EQ(0u, ConfigurationSet_getSettingCount(instance, &required));
    EXPECT_EQ(2u, std::exchange(failing->countDuringCall, 0));
    EXPECT_EQ(1u, ConfigurationSet_getSettingCount(instance, nullptr));
    EXPECT_EQ(0u, failing->countDuringCall);

    // What no family translates stops at the boundary: 5 from a set function, 1 from a setting
    // function, outputs untouched, the count balanced and a message that says what happened.
    uint32_t kept = 17;
    EXPECT_EQ(5u, ConfigurationSet_serialize(instance, nullptr, 0, &kept));
    EXPECT_TRUE(kept == 17 && messageHas("out of memory") &&
                countOf<IConfigurationSet>(instance) == 1);
    AutoRefCounted<ISetting> throwing(new ThrowingSetting());
    throwing->initialize(ISetting::uint32Type);
    EXPECT_EQ(1u, Setting_getUINT32(throwing.operator->(), &kept));
    EXPECT_TRUE(kept == 17 && messageHas("Setting_getUINT32: disk on fire"));
    EXPECT_EQ(1u, countOf<ISetting>(throwing.operator->()));

    // A setting the library did not make is refused before the set changes; the message of that
    // belongs to the calling thread.
    ConfigurationSetFactory_createConfigurationSet(u("ConfigurationSet"), &set);
    EXPECT_EQ(5u, ConfigurationSet_insertSetting(set, u("a"), throwing.operator->()));
    EXPECT_TRUE(ConfigurationSet_getSettingCount(set, &kept) == 0 && kept == 0);
    EXPECT_EQ(1u, countOf<ISetting>(throwing.operator->()));
    std::string seenByOtherThread = "unset";
    std::thread([&] {
        seenByOtherThread = lastError();
        ConfigurationSet_removeSetting(set, u("there"));
    }).join();
    EXPECT_EQ("", seenByOtherThread);
    EXPECT_TRUE(messageHas("insertSetting"));
    ConfigurationSet_releaseInstance(set);
    Setting_releaseInstance(setting);
}

// A text of 4 GiB or more never fits a 32-bit capacity; its required length is the largest count.
TEST(ConfigurationAPI, TextOfFourGibibytesOrMoreIsNeverCopied) {
    uint32_t required = 0;
    for (const size_t length : {size_t{1} << 32, (size_t{1} << 32) + 4, size_t{UINT32_MAX}}) {
        for (const uint32_t capacity : {uint32_t{16}, uint32_t{UINT32_MAX}}) {
            unsigned char buffer[16] = {'x'};
            EXPECT_FALSE(api::copyText("abcd", length, buffer, capacity, &required)) << length;
            EXPECT_TRUE(required == UINT32_MAX && buffer[0] == 'x');
        }
    }
}

}  // namespace
