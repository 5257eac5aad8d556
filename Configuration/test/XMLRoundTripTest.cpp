#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/internal/ConfigurationSetFactory.h>

#include "XMLTestSupport.h"

using namespace xmltest;

namespace {

// One setting of every type, with values at the edges of their ranges, under keys the format
// carries unchanged: "/" and a name, or branch segments that are XML names.
AutoRefCounted<IConfigurationSet> setOfEveryType() {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "/flag", ISetting::boolType, true);
    put(*set, "/off", ISetting::boolType, false);
    put(*set, "numbers/uchar", ISetting::ucharType, static_cast<unsigned char>(255));
    put(*set, "numbers/uint16", ISetting::uint16Type, uint16_t(65535));
    put(*set, "numbers/uint32", ISetting::uint32Type, uint32_t(4294967295u));
    put(*set, "numbers/uint64", ISetting::uint64Type, std::numeric_limits<uint64_t>::max());
    put(*set, "numbers/char", ISetting::charType, static_cast<signed char>(-128));
    put(*set, "numbers/int16", ISetting::int16Type, int16_t(-32768));
    put(*set, "numbers/int32", ISetting::int32Type, std::numeric_limits<int32_t>::min());
    put(*set, "numbers/int64", ISetting::int64Type, std::numeric_limits<int64_t>::min());
    put(*set, "real/float", ISetting::floatType, 0.1f);
    put(*set, "real/floatMax", ISetting::floatType, std::numeric_limits<float>::max());
    put(*set, "real/floatTiny", ISetting::floatType, -std::numeric_limits<float>::min());
    put(*set, "real/double", ISetting::doubleType, 0.1);
    put(*set, "real/doubleMax", ISetting::doubleType, std::numeric_limits<double>::max());
    put(*set, "real/doubleTiny", ISetting::doubleType, std::numeric_limits<double>::min());
    put(*set, "real/third", ISetting::doubleType, 1.0 / 3.0);
    put(*set, "real/doubleDenormal", ISetting::doubleType,
        std::numeric_limits<double>::denorm_min());
    put(*set, "real/floatDenormal", ISetting::floatType, std::numeric_limits<float>::denorm_min());
    put(*set, "text/a.b-c_d/string", ISetting::stringType, std::string(" a<b>&c\"d'e \t"));
    put(*set, "text/wide", ISetting::unicodeString, std::wstring(L"wide text"));
    std::vector<unsigned char> bytes;
    for (int value = 0; value < 256; ++value) {
        bytes.push_back(static_cast<unsigned char>(value));
    }
    set->insertSetting("data/binary", makeBinarySetting(bytes));
    return set;
}

AutoRefCounted<IConfigurationSet> readBack(IConfigurationSet& set) {
    AutoRefCounted<IConfigurationSet> back = newXmlSet();
    unserialize(*back, serialized(set));
    return back;
}

}  // namespace

TEST(XMLRoundTrip, EveryTypeComesBackEqualUnderTheCLocaleAndUnderUtf8) {
    for (const char* name : {"C", "C.UTF-8"}) {
        ScopedLocale locale(name);
        ASSERT_TRUE(locale.available()) << name;
        AutoRefCounted<IConfigurationSet> set = setOfEveryType();
        EXPECT_TRUE(setsEqual(readBack(*set), set)) << name;
    }
}

// Non-ASCII text comes back whole under UTF-8 and under "C", whose conversions would cut it.
TEST(XMLRoundTrip, NonAsciiTextComesBackWholeUnderUtf8AndUnderTheCLocale) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "/s", ISetting::stringType,
        std::string("Gr\xc3\xbc\xc3\x9f"
                    "e \xe6\x97\xa5\xe6\x9c\xac"));
    put(*set, "/w", ISetting::unicodeString,
        std::wstring(L"Gr\u00fc\u00dfe \u65e5\u672c\U0001F600"));
    for (const char* name : {"C.UTF-8", "C"}) {
        ScopedLocale locale(name);
        ASSERT_TRUE(locale.available());
        AutoRefCounted<IConfigurationSet> back = readBack(*set);
        EXPECT_TRUE(setsEqual(back, set)) << name;
        EXPECT_EQ(9u, wideStringAt(*back, "/w").size()) << name;
    }
}

TEST(XMLRoundTrip, KeysWithoutASlashComeBackWithOneAndXGivesItsValueToSlashX) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "x", ISetting::int32Type, int32_t(1));
    put(*set, "a/b", ISetting::int32Type, int32_t(2));
    EXPECT_EQ((std::vector<std::string>{"/x", "a/b"}), pathsOf(*readBack(*set)));

    // Of x and /x the later element wins, so /x gets the value of x.
    put(*set, "/x", ISetting::int32Type, int32_t(2));
    set->removeSetting("a/b");
    AutoRefCounted<IConfigurationSet> back = readBack(*set);
    EXPECT_EQ((std::vector<std::string>{"/x"}), pathsOf(*back));
    EXPECT_EQ(1, valueAt<int32_t>(*back, "/x"));
}

TEST(XMLRoundTrip, ManySettingsInOneBranchAndManyBranchesComeBack) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    for (int index = 0; index < 2000; ++index) {
        put(*set, "big/key" + std::to_string(index), ISetting::int32Type, int32_t(index));
        put(*set, "b" + std::to_string(index) + "/key", ISetting::int32Type, int32_t(-index));
    }
    AutoRefCounted<IConfigurationSet> back = readBack(*set);
    EXPECT_EQ(4000u, back->getSettingCount());
    EXPECT_TRUE(setsEqual(back, set));
}

TEST(XMLRoundTrip, SaveThenLoadOfAFileGivesAnEqualSetAndAMalformedFileChangesNothing) {
    TemporaryFile file;
    AutoRefCounted<IConfigurationSet> set = setOfEveryType();
    set->save(file.path());
    EXPECT_FALSE(set->checkModified());
    std::ifstream stream(file.path(), std::ios_base::binary);
    std::string firstLine;
    std::getline(stream, firstLine);
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>", firstLine);

    AutoRefCounted<IConfigurationSet> loaded = newXmlSet();
    loaded->load(file.path());
    EXPECT_TRUE(setsEqual(loaded, set));
    EXPECT_FALSE(loaded->checkModified());

    // Loading a malformed file fails and leaves the set unchanged.
    std::ofstream(file.path(), std::ios_base::binary) << "<configuration><setting name=\"x\"";
    EXPECT_THROW(loaded->load(file.path()), IConfigurationSet::ConfigurationSetException);
    EXPECT_TRUE(setsEqual(loaded, set));
}

TEST(XMLRoundTrip, TheFactoryCreatesXmlSetsThatReportTheirTypeAndCapabilities) {
    const com::orvandel::configuration::IConfigurationSetFactory* factory =
        com::orvandel::configuration::ConfigurationSetFactory::instance();
    AutoRefCounted<IConfigurationSet> set = factory->createConfigurationSet("XMLConfigurationSet");
    EXPECT_EQ("XMLConfigurationSet", *set->getType());
    EXPECT_TRUE(set->capLoadAndSave());
    EXPECT_TRUE(set->capSerialize());
    EXPECT_FALSE(set->checkModified());
    put(*set, "a/b", ISetting::int32Type, int32_t(3));
    EXPECT_TRUE(setsEqual(readBack(*set), set));
}
