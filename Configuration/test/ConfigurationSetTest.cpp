// The configuration set in memory: storing and removing settings, the modified flag it shares
// with them, lookups by path and by index under a branch, and comparison of sets.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <orvandel/configuration/internal/BinaryConfigurationSet.h>
#include <orvandel/configuration/internal/ConfigurationSet.h>
#include <orvandel/configuration/internal/Setting.h>

#include "ForeignSetting.h"
#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;
using testsupport::makeBinarySetting;
using testsupport::makeSetting;
using testsupport::newBinarySet;
using testsupport::newPlainSet;
using testsupport::pathsOf;
using testsupport::referenceCount;
using testsupport::setsEqual;

namespace {

std::optional<IConfigurationSet::ConfigurationSetException> thrownBy(
    const std::function<void()>& operation) {
    return testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(operation);
}

AutoRefCounted<ISetting> newInt(int32_t value) {
    return makeSetting(ISetting::int32Type, value);
}

TEST(ConfigurationSetBasics, SettingsAreSharedNotCopiedAndOutliveTheirSet) {
    AutoRefCounted<IConfigurationSet> set = newPlainSet();
    const AutoRefCounted<ISetting> setting = newInt(1);
    set->insertSetting("p", setting);
    set->insertSetting("q", setting);  // the same setting may live under several paths
    EXPECT_EQ(3u, referenceCount(*setting));
    {
        const AutoRefCounted<ISetting> found = set->retrieveSetting("p");
        EXPECT_EQ(setting.operator->(), found.operator->());
        EXPECT_EQ(4u, referenceCount(*setting));
    }
    setting->setValue(int32_t{2});
    int32_t value = 0;
    set->retrieveLockedSetting("q")->getValue(&value);
    EXPECT_EQ(2, value);
    set->removeSetting("q");
    EXPECT_EQ(2u, referenceCount(*setting));
    EXPECT_EQ(IConfigurationSet::noSettingAtPathException,
              thrownBy([&] { set->removeSetting("q"); }));
    set = AutoRefCounted<IConfigurationSet>();
    EXPECT_EQ(1u, referenceCount(*setting));
    setting->setValue(int32_t{7});
    setting->getValue(&value);
    EXPECT_EQ(7, value);
}

TEST(ConfigurationSetBasics, PathsAreCaseSensitiveAndAnyStringIsOne) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    set->insertSetting("a", newInt(1));
    set->insertSetting("A", newInt(2));
    set->insertSetting("", newInt(3));
    set->insertSetting(std::string("\xff\0x", 3), newInt(4));
    const std::vector<std::string> expected{"", "A", "a", std::string("\xff\0x", 3)};
    EXPECT_EQ(expected, pathsOf(*set));
    EXPECT_EQ(IConfigurationSet::noSettingAtPathException,
              thrownBy([&] { set->retrieveSetting("b"); }));
    EXPECT_EQ(IConfigurationSet::noSettingAtPathException,
              thrownBy([&] { set->retrieveLockedSetting("a/"); }));
}

TEST(ConfigurationSetBasics, ARefusedInsertionChangesNothing) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    const AutoRefCounted<ISetting> first = newInt(1);
    set->insertSetting("p", first);
    EXPECT_TRUE(set->checkModified());
    const AutoRefCounted<ISetting> second = newInt(2);
    EXPECT_EQ(IConfigurationSet::settingExistsAtPathException,
              thrownBy([&] { set->insertSetting("p", second); }));
    EXPECT_EQ(first.operator->(), set->retrieveSetting("p").operator->());
    const AutoRefCounted<ISetting> stranger = testsupport::foreign(newInt(1));
    EXPECT_THROW(set->insertSetting("q", stranger), std::invalid_argument);
    EXPECT_EQ(1u, referenceCount(*stranger));
    EXPECT_THROW(set->insertSetting("q", AutoRefCounted<ISetting>()), std::invalid_argument);
    EXPECT_EQ(1u, set->getSettingCount());
    EXPECT_FALSE(set->checkModified());
    second->setValue(int32_t{3});
    EXPECT_FALSE(set->checkModified());  // the refused setting did not receive the set's flag
}

// A setting that counts the destructions of its kind.
class ProbeSetting : public Setting {
  public:
    static int sd_destroyed;

  protected:
    ~ProbeSetting() override { ++sd_destroyed; }
};

int ProbeSetting::sd_destroyed = 0;

// The set's reference is the last one once the caller lets go: removal, a read replacing the
// setting and the set's own end each destroy it at once.
TEST(ConfigurationSetLifetimes, TheSetReleasesTheSettingsItDropsAtOnce) {
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
    EXPECT_EQ(ISetting::int32Type, set->retrieveLockedSetting("replaced")->getType());
    set = AutoRefCounted<IConfigurationSet>();
    EXPECT_EQ(3, ProbeSetting::sd_destroyed);
}

// The modified flag: every successful change raises it, checkModified reports and clears it.
class ModifiedFlag : public testing::Test {
  protected:
    ModifiedFlag() : d_set(newPlainSet()) {}

    AutoRefCounted<IConfigurationSet> d_set;
};

TEST_F(ModifiedFlag, InsertionRemovalAndRemoveAllAreReportedOnce) {
    d_set->insertSetting("p", newInt(1));
    EXPECT_TRUE(d_set->checkModified());
    EXPECT_FALSE(d_set->checkModified());
    d_set->removeSetting("p");
    EXPECT_TRUE(d_set->checkModified());
    d_set->removeAllSettings();  // already empty
    EXPECT_TRUE(d_set->checkModified());
}

TEST_F(ModifiedFlag, ASetValueThroughAnyHandleIsReportedEvenForTheSameValue) {
    const AutoRefCounted<ISetting> mine = newInt(1);
    d_set->insertSetting("p", mine);
    d_set->checkModified();
    mine->setValue(int32_t{1});
    EXPECT_TRUE(d_set->checkModified());
    d_set->retrieveSetting("p")->setValue(int32_t{1});
    EXPECT_TRUE(d_set->checkModified());
    std::string path;
    d_set->retrieveSettingByIndex(std::string(), 0, path)->setValue(int32_t{1});
    EXPECT_TRUE(d_set->checkModified());
}

TEST_F(ModifiedFlag, LockedBinaryAccessIsNotAChangeButWritableAccessIs) {
    d_set->insertSetting("b", makeBinarySetting({1, 2}));
    d_set->checkModified();
    const unsigned char* locked = nullptr;
    size_t length = 0;
    d_set->retrieveLockedSetting("b")->getLockedBinaryBuffer(&locked, &length);
    d_set->retrieveSetting("b")->getLockedBinaryBuffer(&locked, &length);
    d_set->retrieveSetting("b")->getBinaryLength(&length);
    EXPECT_FALSE(d_set->checkModified());
    unsigned char* writable = nullptr;
    d_set->retrieveSetting("b")->getBinaryBuffer(&writable, &length);
    EXPECT_TRUE(d_set->checkModified());
    length = 5;
    d_set->retrieveSetting("b")->resizeBinaryBuffer(&length);
    EXPECT_TRUE(d_set->checkModified());
}

TEST_F(ModifiedFlag, ASettingReportsToTheSetThatInsertedItLastEvenAfterRemoval) {
    const AutoRefCounted<IConfigurationSet> other = newPlainSet();
    const AutoRefCounted<ISetting> setting = newInt(1);
    d_set->insertSetting("p", setting);
    other->insertSetting("q", setting);
    d_set->checkModified();
    other->checkModified();
    setting->setValue(int32_t{2});
    EXPECT_FALSE(d_set->checkModified());
    EXPECT_TRUE(other->checkModified());
    other->removeSetting("q");
    other->checkModified();
    setting->setValue(int32_t{3});
    EXPECT_TRUE(other->checkModified());
}

TEST_F(ModifiedFlag, FailedOperationsAndReadsRaiseNothing) {
    const AutoRefCounted<ISetting> setting = newInt(1);
    d_set->insertSetting("p", setting);
    d_set->checkModified();
    EXPECT_THROW(d_set->insertSetting("p", newInt(2)),
                 IConfigurationSet::ConfigurationSetException);
    EXPECT_THROW(d_set->removeSetting("q"), IConfigurationSet::ConfigurationSetException);
    EXPECT_THROW(d_set->retrieveSetting("q"), IConfigurationSet::ConfigurationSetException);
    std::string path;
    EXPECT_THROW(d_set->retrieveSettingByIndex(std::string(), 1, path),
                 IConfigurationSet::ConfigurationSetException);
    EXPECT_THROW(setting->setValue(1.0), ISetting::SettingException);
    int32_t value = 0;
    d_set->retrieveSetting("p")->getValue(&value);
    d_set->equals(const_pointer_cast<const IConfigurationSet>(d_set));
    EXPECT_EQ(1u, d_set->getSettingCount());
    EXPECT_FALSE(d_set->checkModified());
}

// Enumeration by index under a branch, over the paths "a", "a/b", "a/c", "ab" and "b".
class ByIndex : public testing::Test {
  protected:
    ByIndex() : d_set(newPlainSet()) {
        for (const char* path : {"b", "a/c", "a", "ab", "a/b"}) {
            d_set->insertSetting(path, makeSetting(ISetting::stringType, std::string(path)));
        }
    }

    // The paths found for indices 0, 1, ... until the first throw, which must write no path.
    // (The model test checks that the four forms of the lookup agree.)
    std::vector<std::string> enumerate(const std::string& branch) {
        std::vector<std::string> paths;
        for (uint32_t index = 0;; ++index) {
            std::string path = "unwritten";
            const auto thrown =
                thrownBy([&] { d_set->retrieveSettingByIndex(branch, index, path); });
            if (thrown) {
                EXPECT_EQ(IConfigurationSet::noSettingAtPathException, thrown);
                EXPECT_EQ("unwritten", path);
                return paths;
            }
            paths.push_back(path);
        }
    }

    AutoRefCounted<IConfigurationSet> d_set;
};

// A branch is a plain prefix, including the path equal to it; with its separator it takes in
// one level; the empty branch takes in everything; a branch without paths throws at index 0.
TEST_F(ByIndex, EachBranchGivesThePathsBeginningWithItInPathOrder) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases{
        {"a", {"a", "a/b", "a/c", "ab"}},
        {"a/", {"a/b", "a/c"}},
        {"", {"a", "a/b", "a/c", "ab", "b"}},
        {"c", {}},
        {"a/d", {}},
        {"ab/", {}}};
    for (const auto& [branch, paths] : cases) {
        EXPECT_EQ(paths, enumerate(branch)) << "branch '" << branch << "'";
    }
}

TEST_F(ByIndex, IndicesInAnyOrderGiveTheSameAnswers) {
    std::string path;
    for (uint32_t index : {3u, 1u, 2u, 0u, 2u, 4u, 1u}) {
        if (index < 4) {
            d_set->retrieveSettingByIndex(std::string("a"), index, path);
            EXPECT_EQ((std::vector<std::string>{"a", "a/b", "a/c", "ab"})[index], path);
        } else {
            EXPECT_THROW(d_set->retrieveSettingByIndex(std::string("a"), index, path),
                         IConfigurationSet::ConfigurationSetException);
        }
    }
    EXPECT_THROW(
        d_set->retrieveSettingByIndex(std::string(), std::numeric_limits<uint32_t>::max(), path),
        IConfigurationSet::ConfigurationSetException);
}

TEST_F(ByIndex, TheTextFormsPointIntoTheSetsOwnPaths) {
    const std::string* first = nullptr;
    const std::string* second = nullptr;
    d_set->retrieveSettingByIndex("a/", 1, &first);
    d_set->retrieveSettingByIndex("", 2, &second);
    EXPECT_EQ(first, second);
    EXPECT_EQ("a/c", *first);
    // The pointer names the stored path itself, so later lookups and insertions of other paths
    // leave it pointing at "a/c".
    const std::string* other = nullptr;
    d_set->retrieveSettingByIndex("b", 0, &other);
    d_set->insertSetting("a/bb", newInt(0));
    d_set->removeSetting("a/b");
    EXPECT_EQ("a/c", *first);
    EXPECT_EQ("b", *other);
}

TEST_F(ByIndex, AnEnumerationSeesInsertionsAndRemovalsMadeBetweenItsCalls) {
    std::string path;
    d_set->retrieveSettingByIndex(std::string("a"), 1, path);
    EXPECT_EQ("a/b", path);
    d_set->insertSetting("a/a", newInt(0));
    d_set->retrieveSettingByIndex(std::string("a"), 2, path);
    EXPECT_EQ("a/b", path);
    d_set->removeSetting("a");
    d_set->retrieveSettingByIndex(std::string("a"), 2, path);
    EXPECT_EQ("a/c", path);
    d_set->removeAllSettings();
    EXPECT_THROW(d_set->retrieveSettingByIndex(std::string("a"), 0, path),
                 IConfigurationSet::ConfigurationSetException);
}

TEST(ConfigurationSetEquality, SetsWithTheSamePathsAndValuesAreEqualWhateverTheirTypes) {
    const AutoRefCounted<IConfigurationSet> plain = newPlainSet();
    const AutoRefCounted<IConfigurationSet> binary = newBinarySet();
    for (const AutoRefCounted<IConfigurationSet>& set : {plain, binary}) {
        set->insertSetting("n", newInt(5));
        set->insertSetting("s", makeSetting(ISetting::stringType, std::string("v")));
        set->insertSetting("b", makeBinarySetting({9}));
    }
    EXPECT_TRUE(setsEqual(plain, binary));
    EXPECT_TRUE(setsEqual(binary, plain));
    binary->retrieveSetting("n")->setValue(int32_t{6});
    EXPECT_FALSE(setsEqual(plain, binary));
}

TEST(ConfigurationSetEquality, DifferentPathsCountsOrNaNAreUnequal) {
    const AutoRefCounted<IConfigurationSet> x = newPlainSet();
    const AutoRefCounted<IConfigurationSet> y = newPlainSet();
    x->insertSetting("x", newInt(1));
    y->insertSetting("y", newInt(1));
    EXPECT_FALSE(setsEqual(x, y));
    y->insertSetting("x", newInt(1));
    EXPECT_FALSE(setsEqual(x, y));
    EXPECT_FALSE(setsEqual(y, x));
    EXPECT_TRUE(setsEqual(newPlainSet(), newBinarySet()));
    EXPECT_TRUE(setsEqual(x, x));
    x->insertSetting("f",
                     makeSetting(ISetting::floatType, std::numeric_limits<float>::quiet_NaN()));
    EXPECT_FALSE(setsEqual(x, x));
}

}  // namespace
