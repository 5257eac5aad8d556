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

TEST(ConfigurationSetBasics, ANewSetIsEmptyUnmodifiedAndCannotSerialise) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    EXPECT_EQ(0u, set->getSettingCount());
    EXPECT_EQ("ConfigurationSet", *set->getType());
    EXPECT_FALSE(set->capLoadAndSave());
    EXPECT_FALSE(set->capSerialize());
    EXPECT_FALSE(set->checkModified());
}

TEST(ConfigurationSetBasics, InsertedSettingsAreSharedNotCopied) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    const AutoRefCounted<ISetting> setting = newInt(1);
    set->insertSetting("p", setting);
    EXPECT_EQ(2u, referenceCount(*setting));
    {
        const AutoRefCounted<ISetting> found = set->retrieveSetting("p");
        EXPECT_EQ(setting.operator->(), found.operator->());
        EXPECT_EQ(3u, referenceCount(*setting));
    }
    EXPECT_EQ(2u, referenceCount(*setting));
    setting->setValue(int32_t{2});
    int32_t value = 0;
    set->retrieveLockedSetting("p")->getValue(&value);
    EXPECT_EQ(2, value);
}

TEST(ConfigurationSetBasics, PathsAreCaseSensitiveAndAnyStringIsOne) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    set->insertSetting("a", newInt(1));
    set->insertSetting("A", newInt(2));
    set->insertSetting("", newInt(3));
    set->insertSetting(std::string("\xff\0x", 3), newInt(4));
    EXPECT_EQ(4u, set->getSettingCount());
    const std::vector<std::string> expected{"", "A", "a", std::string("\xff\0x", 3)};
    EXPECT_EQ(expected, pathsOf(*set));
}

TEST(ConfigurationSetBasics, LookingUpAnAbsentPathThrows) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    set->insertSetting("a", newInt(1));
    EXPECT_EQ(IConfigurationSet::noSettingAtPathException,
              thrownBy([&] { set->retrieveSetting("b"); }));
    EXPECT_EQ(IConfigurationSet::noSettingAtPathException,
              thrownBy([&] { set->retrieveLockedSetting("a/"); }));
}

TEST(ConfigurationSetBasics, InsertingUnderATakenPathChangesNothing) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    const AutoRefCounted<ISetting> first = newInt(1);
    set->insertSetting("p", first);
    EXPECT_TRUE(set->checkModified());
    const AutoRefCounted<ISetting> second = newInt(2);
    EXPECT_EQ(IConfigurationSet::settingExistsAtPathException,
              thrownBy([&] { set->insertSetting("p", second); }));
    EXPECT_EQ(first.operator->(), set->retrieveSetting("p").operator->());
    EXPECT_FALSE(set->checkModified());
    second->setValue(int32_t{3});
    EXPECT_FALSE(set->checkModified());  // the refused setting did not receive the set's flag
}

TEST(ConfigurationSetBasics, AnEmptyHandleIsRefusedWithoutAnyChange) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    EXPECT_THROW(set->insertSetting("p", AutoRefCounted<ISetting>()), std::invalid_argument);
    EXPECT_EQ(0u, set->getSettingCount());
    EXPECT_FALSE(set->checkModified());
}

TEST(ConfigurationSetBasics, ASettingTheLibraryDidNotMakeIsRefusedWithoutAnyChange) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    const AutoRefCounted<ISetting> stranger = testsupport::foreign(newInt(1));
    EXPECT_THROW(set->insertSetting("p", stranger), std::invalid_argument);
    EXPECT_EQ(0u, set->getSettingCount());
    EXPECT_EQ(1u, referenceCount(*stranger));
    EXPECT_FALSE(set->checkModified());
}

TEST(ConfigurationSetBasics, RemovingKeepsTheSettingAliveForOtherHolders) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    const AutoRefCounted<ISetting> setting = newInt(1);
    set->insertSetting("p", setting);
    set->removeSetting("p");
    EXPECT_EQ(0u, set->getSettingCount());
    EXPECT_EQ(1u, referenceCount(*setting));
    EXPECT_EQ(IConfigurationSet::noSettingAtPathException,
              thrownBy([&] { set->removeSetting("p"); }));
}

TEST(ConfigurationSetBasics, TheSameSettingMayLiveUnderSeveralPaths) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    const AutoRefCounted<ISetting> setting = newInt(1);
    set->insertSetting("x", setting);
    set->insertSetting("y", setting);
    EXPECT_EQ(3u, referenceCount(*setting));
    set->removeAllSettings();
    EXPECT_EQ(1u, referenceCount(*setting));
}

TEST(ConfigurationSetBasics, ASettingOutlivesItsSetAndStaysUsable) {
    AutoRefCounted<IConfigurationSet> set = newPlainSet();
    const AutoRefCounted<ISetting> setting = newInt(1);
    set->insertSetting("p", setting);
    set = AutoRefCounted<IConfigurationSet>();
    EXPECT_EQ(1u, referenceCount(*setting));
    setting->setValue(int32_t{7});
    int32_t value = 0;
    setting->getValue(&value);
    EXPECT_EQ(7, value);
}

// A setting that counts the destructions of its kind.
class ProbeSetting : public Setting {
  public:
    static int sd_destroyed;

  protected:
    ~ProbeSetting() override { ++sd_destroyed; }
};

int ProbeSetting::sd_destroyed = 0;

TEST(ConfigurationSetLifetimes, TheSetsReferenceIsTheLastOneWhenTheCallerLetsGo) {
    ProbeSetting::sd_destroyed = 0;
    AutoRefCounted<IConfigurationSet> set = newPlainSet();
    set->insertSetting("removed", AutoRefCounted<ISetting>(new ProbeSetting()));
    set->insertSetting("kept", AutoRefCounted<ISetting>(new ProbeSetting()));
    EXPECT_EQ(0, ProbeSetting::sd_destroyed);
    set->removeSetting("removed");
    EXPECT_EQ(1, ProbeSetting::sd_destroyed);
    set = AutoRefCounted<IConfigurationSet>();
    EXPECT_EQ(2, ProbeSetting::sd_destroyed);
}

TEST(ConfigurationSetLifetimes, AReadReleasesTheSettingsItReplaces) {
    ProbeSetting::sd_destroyed = 0;
    const AutoRefCounted<IConfigurationSet> set = newBinarySet();
    set->insertSetting("p", AutoRefCounted<ISetting>(new ProbeSetting()));
    const AutoRefCounted<IConfigurationSet> source = newBinarySet();
    source->insertSetting("p", newInt(2));
    const std::vector<unsigned char> form = testsupport::serializedForm(*source);
    set->unserialize(form.data(), form.size());
    EXPECT_EQ(1, ProbeSetting::sd_destroyed);
    EXPECT_EQ(ISetting::int32Type, set->retrieveLockedSetting("p")->getType());
}

// The modified flag: every successful change raises it, checkModified reports and clears it.
class ModifiedFlag : public testing::Test {
  protected:
    ModifiedFlag() : d_set(newPlainSet()) {}

    AutoRefCounted<IConfigurationSet> d_set;
};

TEST_F(ModifiedFlag, InsertionIsReportedOnce) {
    d_set->insertSetting("p", newInt(1));
    EXPECT_TRUE(d_set->checkModified());
    EXPECT_FALSE(d_set->checkModified());
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

TEST_F(ModifiedFlag, RemovalAndRemoveAllAreReported) {
    d_set->insertSetting("p", newInt(1));
    d_set->checkModified();
    d_set->removeSetting("p");
    EXPECT_TRUE(d_set->checkModified());
    d_set->removeAllSettings();  // already empty
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

TEST_F(ModifiedFlag, ARemovedSettingStillReportsToItsOldSet) {
    const AutoRefCounted<ISetting> setting = newInt(1);
    d_set->insertSetting("p", setting);
    d_set->removeSetting("p");
    d_set->checkModified();
    setting->setValue(int32_t{2});
    EXPECT_TRUE(d_set->checkModified());
}

TEST_F(ModifiedFlag, ASettingReportsToTheSetThatInsertedItLast) {
    const AutoRefCounted<IConfigurationSet> other = newPlainSet();
    const AutoRefCounted<ISetting> setting = newInt(1);
    d_set->insertSetting("p", setting);
    other->insertSetting("q", setting);
    d_set->checkModified();
    other->checkModified();
    setting->setValue(int32_t{2});
    EXPECT_FALSE(d_set->checkModified());
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

    // The paths found by each of the four forms for indices 0, 1, ... until the first throw,
    // after checking that all four agree on the path and the setting.
    std::vector<std::string> enumerate(const std::string& branch) {
        std::vector<std::string> paths;
        for (uint32_t index = 0;; ++index) {
            std::string byString = "unwritten";
            std::string byLockedString = "unwritten";
            const std::string* byText = nullptr;
            const std::string* byLockedText = nullptr;
            AutoRefCounted<ISetting> found;
            try {
                found = d_set->retrieveSettingByIndex(branch, index, byString);
            } catch (IConfigurationSet::ConfigurationSetException exception) {
                EXPECT_EQ(IConfigurationSet::noSettingAtPathException, exception);
                EXPECT_EQ("unwritten", byString);
                const IConfigurationSet& locked = *d_set;
                EXPECT_THROW(locked.retrieveLockedSettingByIndex(branch, index, byLockedString),
                             IConfigurationSet::ConfigurationSetException);
                EXPECT_THROW(d_set->retrieveSettingByIndex(branch.c_str(), index, &byText),
                             IConfigurationSet::ConfigurationSetException);
                EXPECT_THROW(
                    locked.retrieveLockedSettingByIndex(branch.c_str(), index, &byLockedText),
                    IConfigurationSet::ConfigurationSetException);
                EXPECT_EQ("unwritten", byLockedString);
                EXPECT_EQ(nullptr, byText);
                EXPECT_EQ(nullptr, byLockedText);
                return paths;
            }
            const IConfigurationSet& locked = *d_set;
            const AutoRefCounted<const ISetting> lockedFound =
                locked.retrieveLockedSettingByIndex(branch, index, byLockedString);
            const AutoRefCounted<ISetting> textFound =
                d_set->retrieveSettingByIndex(branch.c_str(), index, &byText);
            const AutoRefCounted<const ISetting> lockedTextFound =
                locked.retrieveLockedSettingByIndex(branch.c_str(), index, &byLockedText);
            EXPECT_EQ(byString, byLockedString);
            EXPECT_EQ(byString, *byText);
            EXPECT_EQ(byText, byLockedText);
            EXPECT_EQ(found.operator->(), lockedFound.operator->());
            EXPECT_EQ(found.operator->(), textFound.operator->());
            EXPECT_EQ(found.operator->(), lockedTextFound.operator->());
            EXPECT_EQ(d_set->retrieveSetting(byString).operator->(), found.operator->());
            paths.push_back(byString);
        }
    }

    AutoRefCounted<IConfigurationSet> d_set;
};

TEST_F(ByIndex, ABranchIsAPlainPrefixIncludingThePathEqualToIt) {
    EXPECT_EQ((std::vector<std::string>{"a", "a/b", "a/c", "ab"}), enumerate("a"));
}

TEST_F(ByIndex, ABranchWithItsSeparatorTakesInOneLevel) {
    EXPECT_EQ((std::vector<std::string>{"a/b", "a/c"}), enumerate("a/"));
}

TEST_F(ByIndex, TheEmptyBranchTakesInEverySettingInPathOrder) {
    EXPECT_EQ((std::vector<std::string>{"a", "a/b", "a/c", "ab", "b"}), enumerate(""));
}

TEST_F(ByIndex, ABranchWithoutPathsThrowsAtIndexZero) {
    EXPECT_TRUE(enumerate("c").empty());
    EXPECT_TRUE(enumerate("a/d").empty());
    EXPECT_TRUE(enumerate("ab/").empty());
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

TEST(ConfigurationSetEquality, DifferentPathsOrCountsAreUnequal) {
    const AutoRefCounted<IConfigurationSet> x = newPlainSet();
    const AutoRefCounted<IConfigurationSet> y = newPlainSet();
    x->insertSetting("x", newInt(1));
    y->insertSetting("y", newInt(1));
    EXPECT_FALSE(setsEqual(x, y));
    y->insertSetting("x", newInt(1));
    EXPECT_FALSE(setsEqual(x, y));
    EXPECT_FALSE(setsEqual(y, x));
    EXPECT_TRUE(setsEqual(newPlainSet(), newBinarySet()));
}

TEST(ConfigurationSetEquality, ASetHoldingNaNIsUnequalToItself) {
    const AutoRefCounted<IConfigurationSet> set = newPlainSet();
    set->insertSetting("n", newInt(1));
    EXPECT_TRUE(setsEqual(set, set));
    set->insertSetting("f",
                       makeSetting(ISetting::floatType, std::numeric_limits<float>::quiet_NaN()));
    EXPECT_FALSE(setsEqual(set, set));
}

}  // namespace
