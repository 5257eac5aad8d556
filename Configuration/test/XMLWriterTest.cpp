// The XML writer: byte for byte as the DOM oracle it replaced over many generated sets, and the
// exact form where the oracle takes it from the library (value texts) or could get it wrong itself
// (layout, branch reuse, failures, bounds); and round trips.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <limits>
#include <locale>
#include <random>
#include <string>
#include <vector>

#include <xercesc/dom/DOMException.hpp>

#include <orvandel/configuration/internal/ConfigurationSetFactory.h>

#include "WriterComparison.h"
#include "XMLTestSupport.h"

using namespace xmltest;
using std::numeric_limits;

namespace {

const std::string sd_declaration =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n";

std::string documentWith(const std::string& children) {
    return sd_declaration + "<configuration>\n" + children + "\n</configuration>\n";
}

AutoRefCounted<IConfigurationSet> readBack(IConfigurationSet& set) {
    AutoRefCounted<IConfigurationSet> back = newXmlSet();
    unserialize(*back, serialized(set));
    return back;
}

}  // namespace

// Each case: int32 settings (valued by index) and the root's children they are written as. A
// child element is reused only when it is its parent's one element child of that tag name
// ("setting" elements included), and then every deeper segment of that path is new.
TEST(XMLWriter, BranchesAreNestedIndentedSharedAndSplitByTheWalksRules) {
    const std::string newBranch = "\n    <setting>\n      <b>\n        ";
    const std::string branchEnd = "\n      </b>\n    </setting>";
    const auto s = [](const char* name, const char* value) {
        return settingElement(name, "int32", value);
    };
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"a/b/c", "x"},
         "\n  <a>\n    <b>\n      " + s("c", "0") + "\n    </b>\n  </a>\n\n  " + s("x", "1") +
             "\n"},
        {{"a/b/c/x", "a/c/y"},
         "\n  <a>\n    <b>\n      <c>\n        " + s("x", "0") +
             "\n      </c>\n    </b>\n    <c>\n"
             "      " +
             s("y", "1") + "\n    </c>\n  </a>\n"},
        {{"x", "/x"}, "\n  " + s("x", "1") + "\n\n  " + s("x", "0") + "\n"},
        {{"a//b", "c/"},
         "\n  <a>\n    " + s("b", "0") + "\n  </a>\n\n  <c>\n    " + s("", "1") + "\n  </c>\n"},
        {{"a/setting", "a/setting/x"},
         "\n  <a>\n    <setting name=\"setting\" type=\"int32\">0\n      " + s("x", "1") +
             "\n    </setting>\n  </a>\n"},
        // Tag names are compared as written: both segments become U+FFFD.
        {{"\xfe/x", "\xff/y"},
         "\n  <\xef\xbf\xbd>\n    " + s("x", "0") + "\n    " + s("y", "1") +
             "\n  </\xef\xbf\xbd>\n"},
        {{"a/p", "a/q", "a/setting/b/x", "a/setting/b/y"},
         "\n  <a>\n    " + s("p", "0") + "\n    " + s("q", "1") + newBranch + s("x", "2") +
             branchEnd + newBranch + s("y", "3") + branchEnd + "\n  </a>\n"},
    };
    EXPECT_EQ(sd_declaration + "<configuration/>\n", serialized(*newXmlSet()));
    for (const auto& [paths, children] : cases) {
        SCOPED_TRACE(paths.front());
        AutoRefCounted<IConfigurationSet> set = newXmlSet();
        for (size_t index = 0; index < paths.size(); ++index) {
            putInt(*set, paths[index], int32_t(index));
        }
        EXPECT_EQ(documentWith(children), serialized(*set));
    }
}

// Digit grouping and a decimal comma, as some national locales have.
class GroupingNumbers : public std::numpunct<wchar_t> {
  protected:
    wchar_t do_decimal_point() const override { return L','; }
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
};

// Value texts, under "C" (a program that never calls setlocale) as under UTF-8, and in classic
// form under a global locale that groups digits (so documents mean the same everywhere): decimal
// integers, floating point values at their exact binary value, escaped text (non-ASCII whole,
// as UTF-8, and ended by a NUL), Base64 in lines of 60, and no text for empty values.
TEST(XMLWriter, ValueTextsAreExactInEveryLocale) {
    using testsupport::makeSetting;
    const std::string utf8 = "ab\xc3\xa9z\xf0\x9f\x98\x80";
    const std::string e0 = std::string(52, '0');
    const std::string base64Line = std::string(60, 'A') + "\n";
    // The type keywords in ISetting::Type order.
    const char* const keywords[] = {"bool",   "uchar",  "uint16", "uint32",       "uint64",
                                    "char",   "int16",  "int32",  "int64",        "float",
                                    "double", "string", "binary", "unicodeString"};
    const struct {
        AutoRefCounted<ISetting> setting;
        std::string text;
        bool readsBack = true;  // the document reads back as an equal set
    } cases[] = {
        {makeSetting(ISetting::doubleType, 1.5), "1.5" + e0 + "e+00"},
        {makeSetting(ISetting::doubleType, -2.0), "-2.0" + e0 + "e+00"},
        {makeSetting(ISetting::floatType, 0.1f),
         "1.00000001490116119384765625000000000000000000000000000e-01"},
        {makeSetting(ISetting::charType, static_cast<signed char>(-128)), "-128"},
        {makeSetting(ISetting::ucharType, static_cast<unsigned char>(255)), "255"},
        {makeSetting(ISetting::uint16Type, uint16_t(65535)), "65535"},
        {makeSetting(ISetting::int16Type, int16_t(-32768)), "-32768"},
        {makeSetting(ISetting::uint32Type, uint32_t(4294967295u)), "4294967295"},
        {makeSetting(ISetting::int32Type, numeric_limits<int32_t>::min()), "-2147483648"},
        {makeSetting(ISetting::uint64Type, numeric_limits<uint64_t>::max()),
         "18446744073709551615"},
        {makeSetting(ISetting::int64Type, numeric_limits<int64_t>::min()), "-9223372036854775808"},
        {makeSetting(ISetting::uint32Type, uint32_t(0)), "0"},
        {makeSetting(ISetting::int32Type, int32_t(1234567)), "1234567"},
        {makeSetting(ISetting::boolType, true), "true"},
        {makeSetting(ISetting::boolType, false), "false"},
        {makeSetting(ISetting::stringType, std::string("a<b&c>\"'")), "a&lt;b&amp;c&gt;\"'"},
        {makeSetting(ISetting::stringType, std::string("ab\0cd", 5)), "ab", false},
        {makeSetting(ISetting::stringType, utf8), utf8},
        {makeSetting(ISetting::stringType, std::string(" a\t")), " a\t"},
        {makeSetting(ISetting::unicodeString, std::wstring(L"ab\u00e9z\U0001F600")), utf8},
        {makeSetting(ISetting::stringType, std::string()), "", false},
        {makeSetting(ISetting::unicodeString, std::wstring()), "", false},
        {makeBinarySetting({0x00, 0x01, 0x02, 0xff}), "AAEC/w==\n"},
        {makeBinarySetting({}), "", false},
        {makeBinarySetting(std::vector<unsigned char>(90, 0)), base64Line + base64Line},
        {makeBinarySetting(std::vector<unsigned char>(46, 0)), base64Line + "AA==\n"},
    };
    for (const char* name : {"C", "POSIX", "C.UTF-8", "grouping"}) {
        ScopedLocale locale(name == std::string("grouping") ? "C" : name);
        ASSERT_TRUE(locale.available()) << name;
        const std::locale previous =
            std::locale::global(name == std::string("grouping")
                                    ? std::locale(std::locale::classic(), new GroupingNumbers)
                                    : std::locale::classic());
        for (const auto& valueCase : cases) {
            SCOPED_TRACE(std::string(name) + " " + valueCase.text);
            const char* keyword = keywords[valueCase.setting->getType()];
            AutoRefCounted<IConfigurationSet> set = newXmlSet();
            set->insertSetting("/v", valueCase.setting);
            EXPECT_EQ(documentWith("\n  " + settingElement("v", keyword, valueCase.text) + "\n"),
                      serialized(*set));
            if (valueCase.readsBack) {
                EXPECT_TRUE(setsEqual(readBack(*set), set));
            }
        }
        std::locale::global(previous);
    }
}

// The length query and a short buffer report the full length, copy nothing and keep the modified
// flag; a buffer of that length receives the document and clears it, the same bytes every time.
TEST(XMLWriter, TheLengthProtocolCopiesOnlyIntoABufferOfTheFullLength) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    putInt(*set, "a/b", 5);
    set->insertSetting("d", makeBinarySetting({1, 2, 3}));
    const std::string document = serialized(*set);
    for (size_t available : {size_t(0), size_t(1)}) {
        set->retrieveSetting("a/b")->setValue(int32_t(5));
        std::string buffer(document.size() - available, '#');
        size_t length = 0;
        EXPECT_EQ(IConfigurationSet::outBufferTooSmallException,
                  testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>([&] {
                      set->serialize(
                          available == 0 ? nullptr : reinterpret_cast<unsigned char*>(&buffer[0]),
                          buffer.size() * available, &length);
                  }))
            << available;
        EXPECT_EQ(document.size(), length);
        EXPECT_EQ(std::string(buffer.size(), '#'), buffer);
        EXPECT_TRUE(set->checkModified()) << "a failed serialize keeps the modified flag";
        EXPECT_EQ(document, serialized(*set));
        EXPECT_FALSE(set->checkModified());
    }
}

// A branch segment that is no XML name fails with the DOM's exception, a character XML cannot
// carry with the set's, and neither writes anything.
TEST(XMLWriter, UnwritablePathsAndValuesFailAndWriteNothing) {
    for (const char* path : {"/a/b", "a///b", "1a/x", "a b/x", "control"}) {
        AutoRefCounted<IConfigurationSet> set = newXmlSet();
        const bool control = path == std::string("control");
        set->insertSetting(path, control ? makeSetting(ISetting::stringType, std::string("a\x01"))
                                         : makeSetting(ISetting::int32Type, int32_t(1)));
        unsigned char out[4096] = {0xAA};
        size_t length = 12345;
        try {
            set->serialize(out, sizeof out, &length);
            ADD_FAILURE() << path << " was written";
        } catch (const xercesc::DOMException&) {
            EXPECT_FALSE(control) << path;
        } catch (IConfigurationSet::ConfigurationSetException) {
            EXPECT_TRUE(control) << path;
        }
        EXPECT_EQ(12345u, length);
        EXPECT_EQ(0xAA, out[0]);
        EXPECT_TRUE(set->checkModified());
    }
}

TEST(XMLWriter, APathDeeperThanTheNestingBoundFailsInsteadOfExhaustingTheStack) {
    std::string deepest;
    for (size_t segment = 2; segment < XMLConfigurationSet::sd_maxElementDepth; ++segment) {
        deepest += "a/";
    }
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    putInt(*set, deepest + "x", 1);
    EXPECT_TRUE(setsEqual(readBack(*set), set));
    for (size_t extra : {size_t(1), size_t(100000)}) {
        std::string path = deepest;
        for (size_t segment = 0; segment < extra; ++segment) {
            path += "a/";
        }
        putInt(*set, path + "x", 2);
        size_t length = 0;
        EXPECT_EQ(IConfigurationSet::serializationFailureException,
                  testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>(
                      [&] { set->serialize(nullptr, 0, &length); }))
            << extra;
        set->removeSetting(path + "x");
    }
}

// Floating point values at the edges, many settings and branches, and keys without a leading
// slash (which come back with one) survive writing and reading, also through a file and through
// a set the factory made.
TEST(XMLWriter, SetsComeBackEqualFromTheirDocuments) {
    AutoRefCounted<IConfigurationSet> set =
        com::orvandel::configuration::ConfigurationSetFactory::instance()->createConfigurationSet(
            "XMLConfigurationSet");
    EXPECT_EQ("XMLConfigurationSet", *set->getType());
    EXPECT_TRUE(set->capLoadAndSave() && set->capSerialize());
    for (const float value : {numeric_limits<float>::max(), -numeric_limits<float>::min(),
                              numeric_limits<float>::denorm_min()}) {
        set->insertSetting("f/" + std::to_string(set->getSettingCount()),
                           makeSetting(ISetting::floatType, value));
    }
    for (const double value : {numeric_limits<double>::max(), numeric_limits<double>::min(),
                               numeric_limits<double>::denorm_min(), 1.0 / 3.0, 0.1}) {
        set->insertSetting("d/" + std::to_string(set->getSettingCount()),
                           makeSetting(ISetting::doubleType, value));
    }
    for (int index = 0; index < 2000; ++index) {
        putInt(*set, "big/key" + std::to_string(index), index);
        putInt(*set, "b" + std::to_string(index) + "/key", -index);
    }
    EXPECT_TRUE(setsEqual(readBack(*set), set));

    testsupport::ScratchDirectory directory;
    const std::string file = directory.file("set.xml");
    set->save(file);
    EXPECT_FALSE(set->checkModified());
    std::string firstLine;
    std::getline(std::ifstream(file), firstLine);
    EXPECT_EQ(sd_declaration, firstLine + "\n");
    AutoRefCounted<IConfigurationSet> loaded = newXmlSet();
    loaded->load(file);
    EXPECT_TRUE(setsEqual(loaded, set));
    EXPECT_FALSE(loaded->checkModified());
    std::ofstream(file) << "<configuration><setting name=\"x\"";
    EXPECT_THROW(loaded->load(file), IConfigurationSet::ConfigurationSetException);
    EXPECT_TRUE(setsEqual(loaded, set));

    // x comes back as /x; when both are written, the later element (that of x) wins.
    putInt(*set, "x", 1);
    EXPECT_EQ(1, valueAt<int32_t>(*readBack(*set), "/x"));
    putInt(*set, "/x", 2);
    EXPECT_EQ(1, valueAt<int32_t>(*readBack(*set), "/x"));
}

TEST(XMLWriterDifferential, WritesWhatTheDomSerializerWritesForRandomSets) {
    ScopedLocale locale("C.UTF-8");
    ASSERT_TRUE(locale.available());
    std::mt19937 random(20261123);
    for (int round = 0; round < 1500; ++round) {
        std::vector<uint8_t> bytes(random() % 160);
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(random());
        }
        ASSERT_EQ("", oracle::writerDifference(*oracle::xmlSetFrom(bytes.data(), bytes.size())))
            << "round " << round;
    }
    // A binary value long enough to be encoded in several parts.
    auto set = newXmlSet();
    set->insertSetting("a/blob", makeBinarySetting(std::vector<unsigned char>(100000, 7)));
    EXPECT_EQ("", oracle::writerDifference(*set));
}
