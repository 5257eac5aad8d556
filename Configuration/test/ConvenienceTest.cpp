// The C++ layer of Convenience.h: typed put and get, range-for over a branch, comparison and
// copies between set types, and the serialised form in one call.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include <orvandel/configuration/Convenience.h>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;

namespace {

AutoRefCounted<IConfigurationSet> newSet(const std::string& type) {
    return getConfigurationSetFactory()->createConfigurationSet(type);
}

// Every C++ type that maps, with the setting type it must be stored as and the value read back.
template <class Given, class Read>
void expectStoredAs(IConfigurationSet& set, const Given& given, ISetting::Type type,
                    const Read& read) {
    const std::string path = "all/" + settingTypeName(type) + "/" + typeid(Given).name();
    put(set, path, given);
    EXPECT_EQ(set.retrieveLockedSetting(path)->getType(), type) << path;
    EXPECT_EQ(get<Read>(set, path), read) << path;
}

TEST(Convenience, EveryMappedTypeIsStoredAsItsSettingTypeAndReadBackExactly) {
    AutoRefCounted<IConfigurationSet> set = newSet("BinaryConfigurationSet");
    const char* text = "text";
    // The model test puts and gets every stored type; here the types that convert on the way in.
    expectStoredAs(*set, -7, ISetting::int32Type, int32_t{-7});
    expectStoredAs(*set, int8_t{-100}, ISetting::charType, int8_t{-100});
    expectStoredAs(*set, std::string_view("view"), ISetting::stringType, std::string("view"));
    expectStoredAs(*set, text, ISetting::stringType, std::string("text"));
    expectStoredAs(*set, L"wide", ISetting::unicodeString, std::wstring(L"wide"));
    expectStoredAs(*set, BinaryValue{}, ISetting::binaryType, BinaryValue{});

    // The clone of the whole set equals it, whatever the set type, and shares no setting with it.
    put(*set, "a/b", "text");
    const AutoRefCounted<IConfigurationSet> xml = clone(*set, "XMLConfigurationSet");
    EXPECT_EQ(*xml->getType(), "XMLConfigurationSet");
    EXPECT_TRUE(equals(*set, *xml));
    put(*xml, "a/b", "changed");
    EXPECT_EQ(get<std::string>(*set, "a/b"), "text");
    EXPECT_FALSE(equals(*set, *xml));
    EXPECT_FALSE(equals(*set->retrieveLockedSetting("a/b"), *xml->retrieveLockedSetting("a/b")));
    EXPECT_TRUE(equals(*xml->retrieveLockedSetting("a/b"), *clone(*xml->retrieveSetting("a/b"))));

    // The serialised form in one call reads back as an equal set.
    const std::vector<unsigned char> form = serialize(*set);
    const AutoRefCounted<IConfigurationSet> read = newSet("BinaryConfigurationSet");
    read->unserialize(form.data(), form.size());
    EXPECT_TRUE(equals(*read, *set));
    EXPECT_TRUE(serialize(*newSet("BinaryConfigurationSet")).empty());
}

TEST(Convenience, GetTellsAMissingSettingFromOneOfAnotherTypeAndNamesPathAndTypes) {
    AutoRefCounted<IConfigurationSet> set = newSet("ConfigurationSet");
    put(*set, "net/port", uint16_t{8080});
    using Failure = std::optional<SettingAccessError>;
    const auto failureOf = testsupport::thrownValue<SettingAccessError>;
    const Failure missing = failureOf([&set] { get<uint16_t>(*set, "net/host"); });
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->reason(), SettingAccessError::noSettingAtPathException);
    EXPECT_EQ(missing->path(), "net/host");
    EXPECT_NE(std::string(missing->what()).find("net/host"), std::string::npos);
    // A fallback stands in for a missing setting only, never for one of another type.
    for (const Failure& wrong : {failureOf([&set] { get<uint32_t>(*set, "net/port"); }),
                                 failureOf([&set] { get<uint32_t>(*set, "net/port", 1u); })}) {
        ASSERT_TRUE(wrong);
        EXPECT_EQ(wrong->reason(), SettingAccessError::wrongSettingTypeException);
        for (const char* part : {"net/port", "uint16", "uint32"}) {
            EXPECT_NE(std::string(wrong->what()).find(part), std::string::npos) << wrong->what();
        }
    }
    EXPECT_EQ(get<uint16_t>(*set, "net/port", 1), 8080);
    EXPECT_EQ(get<std::string>(*set, "net/host", "localhost"), "localhost");
}

// The values put stores are checked by the model test; here, which object holds them. A null text
// pointer is refused before anything changes.
TEST(Convenience, PutSetsASettingOfTheSameTypeInPlaceAndReplacesOneOfAnotherType) {
    AutoRefCounted<IConfigurationSet> set = newSet("ConfigurationSet");
    put(*set, "k", int32_t{1});
    const AutoRefCounted<ISetting> held = set->retrieveSetting("k");
    put(*set, "k", int32_t{2});
    EXPECT_EQ(set->retrieveSetting("k").operator->(), held.operator->());
    put(*set, "k", 2.5);
    EXPECT_NE(set->retrieveSetting("k").operator->(), held.operator->());
    int32_t heldValue = 0;
    held->getValue(&heldValue);
    EXPECT_EQ(heldValue, 2);
    set->checkModified();
    const char* none = nullptr;
    EXPECT_THROW(put(*set, "k", none), std::invalid_argument);
    EXPECT_THROW(put(*set, "new", none), std::invalid_argument);
    EXPECT_FALSE(set->checkModified());
    EXPECT_EQ(get<double>(*set, "k"), 2.5);
    EXPECT_EQ(set->getSettingCount(), 1u);
}

TEST(Convenience, EntriesWalkABranchInPathOrderThroughTheSettingsThemselves) {
    AutoRefCounted<IConfigurationSet> set = newSet("ConfigurationSet");
    for (const char* path : {"b", "ab", "a/c", "a", "a/b"}) {
        put(*set, path, std::string(path));
    }
    const auto pathsUnder = [](const IConfigurationSet& s, const std::string& branch) {
        std::vector<std::string> paths;
        for (auto& [path, setting] : entries(s, branch)) {
            EXPECT_EQ(get<std::string>(s, path), path);
            EXPECT_TRUE(equals(*setting, *s.retrieveLockedSetting(path)));
            paths.push_back(path);
        }
        return paths;
    };
    using Paths = std::vector<std::string>;
    EXPECT_EQ(pathsUnder(*set, ""), (Paths{"a", "a/b", "a/c", "ab", "b"}));
    EXPECT_EQ(pathsUnder(*set, "a/"), (Paths{"a/b", "a/c"}));
    EXPECT_EQ(pathsUnder(*set, "c"), Paths{});

    // Through a non-const set the handles change the stored settings; the paths are the set's own.
    set->checkModified();
    const std::string* firstPath = nullptr;
    for (auto& [path, setting] : entries(*set, "a/")) {
        setting->setValue(path + "!");
        firstPath = firstPath == nullptr ? &path : firstPath;
    }
    EXPECT_TRUE(set->checkModified());
    EXPECT_EQ(get<std::string>(*set, "a/c"), "a/c!");
    EXPECT_EQ(*firstPath, "a/b");
    const std::string* stored = nullptr;
    set->retrieveSettingByIndex("a/", 0, &stored);
    EXPECT_EQ(firstPath, stored);
}

}  // namespace
