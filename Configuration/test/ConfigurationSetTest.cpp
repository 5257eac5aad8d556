// The configuration set in memory: shared settings and their lifetimes, refused insertions, whose
// flag a setting raises, and the paths it lends. (The model test covers the rest.)
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/internal/SettingOrder.h>

#include "ForeignSetting.h"
#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::referenceCount;

namespace {

AutoRefCounted<ISetting> newInt(int32_t value) {
    return testsupport::makeSetting(ISetting::int32Type, value);
}

// One setting may live under several paths; the set holds references, never copies, and drops
// each at once on removal, on a read replacing it and at its end. Any string, NUL included, is a
// path of its own, and the text forms of a by-index lookup lend the set's own stored path, which
// later changes to other paths leave in place. (The model test checks what a branch gives.)
TEST(ConfigurationSet, SharesSettingsReleasesThemAtOnceAndLendsItsPaths) {
    AutoRefCounted<IConfigurationSet> set = testsupport::newBinarySet();
    const AutoRefCounted<ISetting> setting = newInt(1);
    const std::string nul("P\0x", 3);
    for (const std::string& path : {std::string("p"), nul, std::string("r"), std::string()}) {
        set->insertSetting(path, setting);
    }
    EXPECT_EQ(5u, referenceCount(*setting));
    EXPECT_EQ(setting.operator->(), set->retrieveSetting("p").operator->());
    EXPECT_EQ((std::vector<std::string>{"", nul, "p", "r"}), testsupport::pathsOf(*set));
    EXPECT_THROW(set->retrieveSetting("P"), IConfigurationSet::ConfigurationSetException);
    const std::string* lent = nullptr;
    const std::string* locked = nullptr;
    set->retrieveSettingByIndex("", 1, &lent);
    set->retrieveLockedSettingByIndex("P", 0, &locked);
    EXPECT_EQ(lent, locked);
    set->removeSetting("p");
    EXPECT_EQ(4u, referenceCount(*setting));
    const AutoRefCounted<IConfigurationSet> source = testsupport::newBinarySet();
    source->insertSetting("r", newInt(2));
    const std::vector<unsigned char> form = testsupport::serializedForm(*source);
    set->unserialize(form.data(), form.size());
    EXPECT_EQ(3u, referenceCount(*setting));
    set->insertSetting("Pa", newInt(0));
    EXPECT_EQ(nul, *lent);
    set = AutoRefCounted<IConfigurationSet>();
    EXPECT_EQ(1u, referenceCount(*setting));
}

// A change reaches the set that inserted the setting last, even after its removal there; a
// handle from a by-index lookup changes the stored setting too; locked reads change nothing. A path
// in use, a setting the library did not make and an empty handle are refused before anything
// changes: no count, no reference, no flag, and the refused setting gets no flag.
TEST(ConfigurationSet, ASettingRaisesTheFlagOfTheSetThatInsertedItLastAndARefusedOneNone) {
    const AutoRefCounted<IConfigurationSet> first = testsupport::newPlainSet();
    const AutoRefCounted<IConfigurationSet> last = testsupport::newPlainSet();
    const AutoRefCounted<ISetting> setting = testsupport::makeBinarySetting({1});
    first->insertSetting("p", setting);
    last->insertSetting("q", setting);
    first->checkModified();
    last->checkModified();
    const AutoRefCounted<ISetting> refused = newInt(2);
    EXPECT_THROW(first->insertSetting("p", refused), IConfigurationSet::ConfigurationSetException);
    const AutoRefCounted<ISetting> stranger = testsupport::foreign(newInt(1));
    EXPECT_THROW(first->insertSetting("s", stranger), std::invalid_argument);
    EXPECT_EQ(1u, referenceCount(*stranger));
    EXPECT_THROW(first->insertSetting("s", AutoRefCounted<ISetting>()), std::invalid_argument);
    EXPECT_EQ(1u, first->getSettingCount());
    refused->setValue(int32_t{3});
    std::string path;
    size_t length = 2;
    first->retrieveSettingByIndex(std::string(), 0, path)->resizeBinaryBuffer(&length);
    EXPECT_FALSE(first->checkModified());
    EXPECT_TRUE(last->checkModified());
    const unsigned char* bytes = nullptr;
    last->retrieveSetting("q")->getLockedBinaryBuffer(&bytes, &length);
    last->retrieveSetting("q")->getBinaryLength(&length);
    EXPECT_FALSE(last->checkModified());
    last->removeSetting("q");
    last->checkModified();
    unsigned char* writable = nullptr;
    setting->getBinaryBuffer(&writable, &length);
    EXPECT_TRUE(last->checkModified());
}

// A large map is walked in parts side by side, split between paths made up for the purpose; the
// parts must join into exactly the map's own order whatever the paths: long shared prefixes,
// empty paths, NUL and 0xff bytes, paths that begin other paths.
TEST(SettingOrder, ALargeMapComesOutInTheMapsOwnOrder) {
    std::mt19937 random(20261123);
    const std::vector<std::function<std::string(size_t)>> shapes = {
        [](size_t i) { return "section" + std::to_string(i % 97) + "/key" + std::to_string(i); },
        [](size_t i) { return std::string(40, 'a') + std::to_string(i); },
        [&random](size_t) {
            std::string path(random() % 12, '\0');
            for (char& byte : path) {
                byte = static_cast<char>(random() % 3 == 0 ? 0xff : random() % 3);
            }
            return path;
        },
    };
    for (const auto& shape : shapes) {
        SettingMap settings;
        for (size_t i = 0; i < 20000; ++i) {
            settings.emplace(shape(i), getConfigurationSetFactory()->createSetting());
        }
        SettingOrder order;
        const SettingOrder::Entries& entries = order.of(settings);
        ASSERT_EQ(settings.size(), entries.size());
        size_t at = 0;
        for (const SettingMap::value_type& entry : settings) {
            ASSERT_EQ(entry.first.data(), entries[at].path.data()) << at;
            ASSERT_EQ(entry.second.operator->(), entries[at].setting) << at;
            ++at;
        }
    }
}

}  // namespace
