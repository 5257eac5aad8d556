// The configuration set in memory: shared settings and their lifetimes, refused insertions, whose
// flag a setting raises, and by-index lookups under a branch. (The model test covers the rest.)
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <orvandel/configuration/internal/Setting.h>

#include "ForeignSetting.h"
#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::newBinarySet;
using testsupport::newPlainSet;
using testsupport::referenceCount;

namespace {

AutoRefCounted<ISetting> newInt(int32_t value) {
    return testsupport::makeSetting(ISetting::int32Type, value);
}

// One setting may live under several paths; the set holds references, never copies, and the
// setting outlives the set. Any string, NUL included, is a path of its own.
TEST(ConfigurationSet, SharesSettingsAndTakesAnyStringAsPath) {
    AutoRefCounted<IConfigurationSet> set = newPlainSet();
    const AutoRefCounted<ISetting> setting = newInt(1);
    set->insertSetting("p", setting);
    set->insertSetting(std::string("P\0x", 3), setting);
    set->insertSetting("", newInt(3));
    EXPECT_EQ(3u, referenceCount(*setting));
    EXPECT_EQ(setting.operator->(), set->retrieveSetting("p").operator->());
    EXPECT_EQ((std::vector<std::string>{"", std::string("P\0x", 3), "p"}),
              testsupport::pathsOf(*set));
    EXPECT_THROW(set->retrieveSetting("P"), IConfigurationSet::ConfigurationSetException);
    set->removeSetting("p");
    EXPECT_EQ(2u, referenceCount(*setting));
    set = AutoRefCounted<IConfigurationSet>();
    EXPECT_EQ(1u, referenceCount(*setting));
}

// A path in use, a setting the library did not make and an empty handle are refused before
// anything changes: no count, no reference, no flag, and the refused setting gets no flag.
TEST(ConfigurationSet, ARefusedInsertionChangesNothing) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    const AutoRefCounted<ISetting> first = newInt(1);
    set->insertSetting("p", first);
    set->checkModified();
    const AutoRefCounted<ISetting> second = newInt(2);
    EXPECT_THROW(set->insertSetting("p", second), IConfigurationSet::ConfigurationSetException);
    EXPECT_EQ(first.operator->(), set->retrieveSetting("p").operator->());
    const AutoRefCounted<ISetting> stranger = testsupport::foreign(newInt(1));
    EXPECT_THROW(set->insertSetting("q", stranger), std::invalid_argument);
    EXPECT_EQ(1u, referenceCount(*stranger));
    EXPECT_THROW(set->insertSetting("q", AutoRefCounted<ISetting>()), std::invalid_argument);
    EXPECT_EQ(1u, set->getSettingCount());
    second->setValue(int32_t{3});
    EXPECT_FALSE(set->checkModified());
}

// A setting that counts the destructions of its kind.
class ProbeSetting : public Setting {
  public:
    static int sd_destroyed;

  protected:
    ~ProbeSetting() override { ++sd_destroyed; }
};

int ProbeSetting::sd_destroyed = 0;

// Removal, a read replacing the setting and the set's end each release the set's reference.
TEST(ConfigurationSet, ReleasesTheSettingsItDropsAtOnce) {
    ProbeSetting::sd_destroyed = 0;
    AutoRefCounted<IConfigurationSet> set = newBinarySet();
    for (const char* path : {"removed", "replaced", "kept"}) {
        set->insertSetting(path, AutoRefCounted<ISetting>(new ProbeSetting()));
    }
    set->removeSetting("removed");
    EXPECT_EQ(1, ProbeSetting::sd_destroyed);
    const AutoRefCounted<IConfigurationSet> source = newBinarySet();
    source->insertSetting("replaced", newInt(2));
    const std::vector<unsigned char> form = testsupport::serializedForm(*source);
    set->unserialize(form.data(), form.size());
    EXPECT_EQ(2, ProbeSetting::sd_destroyed);
    set = AutoRefCounted<IConfigurationSet>();
    EXPECT_EQ(3, ProbeSetting::sd_destroyed);
}

// A change reaches the set that inserted the setting last, even after its removal there; a
// handle from a by-index lookup changes the stored setting too; locked reads change nothing.
TEST(ConfigurationSet, ASettingRaisesTheFlagOfTheSetThatInsertedItLast) {
    const AutoRefCounted<IConfigurationSet> first = newPlainSet();
    const AutoRefCounted<IConfigurationSet> last = newPlainSet();
    const AutoRefCounted<ISetting> setting = testsupport::makeBinarySetting({1});
    first->insertSetting("p", setting);
    last->insertSetting("q", setting);
    first->checkModified();
    last->checkModified();
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

// A branch is a plain prefix, including the path equal to it; with its separator it takes in
// one level; the empty branch takes in everything. A failed lookup writes no path. The text forms
// point at the set's own stored path, which later changes to other paths leave in place.
TEST(ConfigurationSet, ByIndexGivesThePathsBeginningWithTheBranchInOrder) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    for (const char* path : {"b", "a/c", "a", "ab", "a/b"}) {
        set->insertSetting(path, newInt(0));
    }
    using Paths = std::vector<std::string>;
    const std::vector<std::pair<std::string, Paths>> cases{{"a", {"a", "a/b", "a/c", "ab"}},
                                                           {"a/", {"a/b", "a/c"}},
                                                           {"", {"a", "a/b", "a/c", "ab", "b"}},
                                                           {"c", {}},
                                                           {"a/d", {}},
                                                           {"ab/", {}}};
    for (const auto& [branch, expected] : cases) {
        Paths paths;
        std::string path = "unwritten";
        for (uint32_t index = 0; index < 6 && paths.size() == index; ++index) {
            try {
                set->retrieveSettingByIndex(branch, index, path);
                paths.push_back(path);
            } catch (IConfigurationSet::ConfigurationSetException) {
                EXPECT_EQ(expected.empty() ? "unwritten" : expected.back(), path);
            }
        }
        EXPECT_EQ(expected, paths) << "branch '" << branch << "'";
    }
    const std::string* first = nullptr;
    const std::string* second = nullptr;
    set->retrieveSettingByIndex("a/", 1, &first);
    set->retrieveSettingByIndex("", 2, &second);
    EXPECT_EQ(first, second);
    set->insertSetting("a/bb", newInt(0));
    set->removeSetting("a/b");
    EXPECT_EQ("a/c", *first);
}

}  // namespace
