// The C++ layer of Convenience.h: typed put and get, range-for over a branch, comparison and
// copies between set types. (The model test puts, gets and walks values of every stored type.)
#include <gtest/gtest.h>

#include <stdexcept>
#include <string_view>

#include "TestSupport.h"

using namespace com::orvandel;
using namespace com::orvandel::configuration;

namespace {

// Text given as a view, a pointer or a wide literal is stored as a string of its kind (get reads
// only the type stored). A clone of the whole set or of a setting equals it, whatever the set
// type, and shares nothing with it. (The model test reads back clones and serialised forms.)
TEST(Convenience, TextConvertsOnTheWayInAndClonesCopyAndCompare) {
    AutoRefCounted<IConfigurationSet> set = testsupport::newBinarySet();
    const char* text = "text";
    put(*set, "view", std::string_view("view"));
    put(*set, "text", text);
    put(*set, "wide", L"wide");
    EXPECT_EQ(get<std::string>(*set, "view"), "view");
    EXPECT_EQ(get<std::string>(*set, "text"), "text");
    EXPECT_EQ(get<std::wstring>(*set, "wide"), L"wide");
    const AutoRefCounted<IConfigurationSet> xml = clone(*set, "XMLConfigurationSet");
    EXPECT_TRUE(equals(*set, *xml));
    put(*xml, "text", "changed");
    EXPECT_EQ(get<std::string>(*set, "text"), "text");
    EXPECT_FALSE(equals(*set, *xml));
    EXPECT_TRUE(equals(*xml->retrieveLockedSetting("text"), *clone(*xml->retrieveSetting("text"))));
}

// A fallback stands in for a missing setting only, never for one of another type; the error
// names the path and, for a wrong type, both types.
TEST(Convenience, GetTellsAMissingSettingFromOneOfAnotherTypeAndNamesPathAndTypes) {
    AutoRefCounted<IConfigurationSet> set = testsupport::newPlainSet();
    put(*set, "net/port", uint16_t{8080});
    const auto failureOf = testsupport::thrownValue<SettingAccessError>;
    const auto missing = failureOf([&set] { get<uint16_t>(*set, "net/host"); }).value();
    EXPECT_EQ(missing.reason(), SettingAccessError::noSettingAtPathException);
    EXPECT_EQ(missing.path(), "net/host");
    EXPECT_NE(std::string(missing.what()).find("net/host"), std::string::npos);
    for (const auto& wrong : {failureOf([&set] { get<uint32_t>(*set, "net/port"); }),
                              failureOf([&set] { get<uint32_t>(*set, "net/port", 1u); })}) {
        EXPECT_EQ(wrong.value().reason(), SettingAccessError::wrongSettingTypeException);
        for (const char* part : {"net/port", "uint16", "uint32"}) {
            EXPECT_NE(std::string(wrong->what()).find(part), std::string::npos) << wrong->what();
        }
    }
    EXPECT_EQ(get<uint16_t>(*set, "net/port", 1), 8080);
    EXPECT_EQ(get<std::string>(*set, "net/host", "localhost"), "localhost");
}

// Which object put leaves holding the value: the same setting for the same type, a new one for
// another type; a null text pointer is refused before anything changes. A walk over a branch of a
// non-const set gives the set's own path strings, in order, with handles that change the stored
// settings. (The model test checks the values put stores and walks const sets.)
TEST(Convenience, PutKeepsOrReplacesTheSettingAndEntriesHandOutTheSettingsThemselves) {
    AutoRefCounted<IConfigurationSet> set = testsupport::newPlainSet();
    put(*set, "a/k", int32_t{1});
    const AutoRefCounted<ISetting> held = set->retrieveSetting("a/k");
    put(*set, "a/k", int32_t{2});
    EXPECT_EQ(set->retrieveSetting("a/k").operator->(), held.operator->());
    put(*set, "a/k", std::string("replaced"));
    EXPECT_NE(set->retrieveSetting("a/k").operator->(), held.operator->());
    int32_t heldValue = 0;
    held->getValue(&heldValue);
    EXPECT_EQ(heldValue, 2);
    for (const char* path : {"b", "a", "a/b"}) {
        put(*set, path, std::string(path));
    }
    set->checkModified();
    const char* none = nullptr;
    EXPECT_THROW(put(*set, "a/k", none), std::invalid_argument);
    EXPECT_THROW(put(*set, "new", none), std::invalid_argument);
    EXPECT_FALSE(set->checkModified());
    std::vector<const std::string*> paths;
    for (auto& [path, setting] : entries(*set, "a/")) {
        setting->setValue(path + "!");
        paths.push_back(&path);
    }
    EXPECT_TRUE(set->checkModified());
    EXPECT_EQ(set->getSettingCount(), 4u);
    ASSERT_EQ(2u, paths.size());
    EXPECT_EQ(get<std::string>(*set, "a/k"), "a/k!");
    const std::string* stored = nullptr;
    set->retrieveSettingByIndex("a/", 0, &stored);
    EXPECT_EQ(paths[0], stored);
}

}  // namespace
