#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <locale>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <xercesc/dom/DOMException.hpp>

#include "XMLTestSupport.h"

using namespace xmltest;

namespace {

// The document of a set whose root holds exactly the given (pretty-printed) children.
std::string documentWith(const std::string& children) {
    return declaration() + "<configuration>\n" + children + "\n</configuration>\n";
}

std::string rootSettingText(const std::string& keyword, const AutoRefCounted<ISetting>& setting) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    set->insertSetting("v", setting);
    const std::string document = serialized(*set);
    const std::string prefix = "<setting name=\"v\" type=\"" + keyword + "\">";
    const size_t start = document.find(prefix);
    if (start == std::string::npos) {
        return "<no setting element of type " + keyword + ">";
    }
    const size_t textStart = start + prefix.size();
    return document.substr(textStart, document.find("</setting>", textStart) - textStart);
}

template <class T>
std::string valueText(ISetting::Type type, const std::string& keyword, const T& value) {
    return rootSettingText(keyword, makeSetting(type, value));
}

}  // namespace

TEST(XMLWriter, AnEmptySetIsTheRootElementAlone) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    EXPECT_EQ(declaration() + "<configuration/>\n", serialized(*set));
}

TEST(XMLWriter, BranchSegmentsBecomeNestedElementsAndRootLevelSettingsFollowInPathOrder) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a/b/c", ISetting::int32Type, int32_t(5));
    put(*set, "x", ISetting::boolType, true);
    EXPECT_EQ(documentWith("\n  <a>\n    <b>\n      " + settingElement("c", "int32", "5") +
                           "\n    </b>\n  </a>\n\n  " + settingElement("x", "bool", "true") + "\n"),
              serialized(*set));
}

TEST(XMLWriter, NumbersAreDecimalAndFloatingPointValuesShowTheirExactBinaryValue) {
    EXPECT_EQ("1.50000000000000000000000000000000000000000000000000000e+00",
              valueText(ISetting::doubleType, "double", 1.5));
    EXPECT_EQ("-2.00000000000000000000000000000000000000000000000000000e+00",
              valueText(ISetting::doubleType, "double", -2.0));
    EXPECT_EQ("1.00000001490116119384765625000000000000000000000000000e-01",
              valueText(ISetting::floatType, "float", 0.1f));
    EXPECT_EQ("1.50000000000000000000000000000000000000000000000000000e+00",
              valueText(ISetting::floatType, "float", 1.5f));
    EXPECT_EQ("-128", valueText(ISetting::charType, "char", static_cast<signed char>(-128)));
    EXPECT_EQ("255", valueText(ISetting::ucharType, "uchar", static_cast<unsigned char>(255)));
    EXPECT_EQ("65535", valueText(ISetting::uint16Type, "uint16", uint16_t(65535)));
    EXPECT_EQ("-32768", valueText(ISetting::int16Type, "int16", int16_t(-32768)));
    EXPECT_EQ("4294967295", valueText(ISetting::uint32Type, "uint32", uint32_t(4294967295u)));
    EXPECT_EQ("-2147483648",
              valueText(ISetting::int32Type, "int32", std::numeric_limits<int32_t>::min()));
    EXPECT_EQ("18446744073709551615",
              valueText(ISetting::uint64Type, "uint64", std::numeric_limits<uint64_t>::max()));
    EXPECT_EQ("-9223372036854775808",
              valueText(ISetting::int64Type, "int64", std::numeric_limits<int64_t>::min()));
    EXPECT_EQ("0", valueText(ISetting::uint32Type, "uint32", uint32_t(0)));
    EXPECT_EQ("true", valueText(ISetting::boolType, "bool", true));
    EXPECT_EQ("false", valueText(ISetting::boolType, "bool", false));
}

// Each case: settings (int32 values) and the children of the root they must be written as. A
// parent's child element is reused only when it is the one element child with that tag name
// (setting elements count under the name "setting"); otherwise a new element is made, and so is
// every deeper segment of that path.
TEST(XMLWriter, BranchElementsAreSharedSplitAndSkippedByTheWalksRules) {
    const std::string newBranch = "\n    <setting>\n      <b>\n        ";
    const std::string branchEnd = "\n      </b>\n    </setting>";
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"a/b/c/x", "a/c/y"},
         "\n  <a>\n    <b>\n      <c>\n        " + settingElement("x", "int32", "0") +
             "\n      </c>\n    </b>\n    <c>\n      " + settingElement("y", "int32", "1") +
             "\n    </c>\n  </a>\n"},
        {{"x", "/x"},
         "\n  " + settingElement("x", "int32", "1") + "\n\n  " + settingElement("x", "int32", "0") +
             "\n"},
        {{"a//b", "c/"},
         "\n  <a>\n    " + settingElement("b", "int32", "0") + "\n  </a>\n\n  <c>\n    " +
             settingElement("", "int32", "1") + "\n  </c>\n"},
        {{"a/setting", "a/setting/x"},
         "\n  <a>\n    <setting name=\"setting\" type=\"int32\">0" + std::string("\n      ") +
             settingElement("x", "int32", "1") + "\n    </setting>\n  </a>\n"},
        // Tag names are compared as written: both segments become U+FFFD.
        {{"\xfe/x", "\xff/y"},
         "\n  <\xef\xbf\xbd>\n    " + settingElement("x", "int32", "0") + "\n    " +
             settingElement("y", "int32", "1") + "\n  </\xef\xbf\xbd>\n"},
        {{"a/p", "a/q", "a/setting/b/x", "a/setting/b/y"},
         "\n  <a>\n    " + settingElement("p", "int32", "0") + "\n    " +
             settingElement("q", "int32", "1") + newBranch + settingElement("x", "int32", "2") +
             branchEnd + newBranch + settingElement("y", "int32", "3") + branchEnd + "\n  </a>\n"},
    };
    for (const auto& [paths, children] : cases) {
        SCOPED_TRACE(paths.front());
        AutoRefCounted<IConfigurationSet> set = newXmlSet();
        for (size_t index = 0; index < paths.size(); ++index) {
            put(*set, paths[index], ISetting::int32Type, int32_t(index));
        }
        EXPECT_EQ(documentWith(children), serialized(*set));
    }
}

TEST(XMLWriter, TextsAreEscapedBinaryIsBase64InLinesOfSixtyAndEmptyValuesHaveNoText) {
    EXPECT_EQ("a&lt;b&amp;c&gt;\"'",
              valueText(ISetting::stringType, "string", std::string("a<b&c>\"'")));
    EXPECT_EQ("wide", valueText(ISetting::unicodeString, "unicodeString", std::wstring(L"wide")));
    EXPECT_EQ("AAEC/w==\n", rootSettingText("binary", makeBinarySetting({0x00, 0x01, 0x02, 0xff})));
    EXPECT_EQ("", rootSettingText("binary", makeBinarySetting({})));
    EXPECT_EQ("", valueText(ISetting::stringType, "string", std::string()));
    EXPECT_EQ("", valueText(ISetting::unicodeString, "unicodeString", std::wstring()));
    const std::string text =
        rootSettingText("binary", makeBinarySetting(std::vector<unsigned char>(100, 7)));
    EXPECT_EQ(60u, text.find('\n'));
    EXPECT_EQ('\n', text.back());
}

// Under "C" (a program that never calls setlocale) as under UTF-8, non-ASCII text is written
// whole, as UTF-8; a NUL still ends the text.
TEST(XMLWriter, TextIsUtf8UnderTheCLocaleAsUnderUtf8AndEndsAtANul) {
    const std::string utf8 = "ab\xc3\xa9z\xf0\x9f\x98\x80";
    for (const char* name : {"C", "POSIX", "C.UTF-8"}) {
        ScopedLocale locale(name);
        ASSERT_TRUE(locale.available()) << name;
        EXPECT_EQ("ab", valueText(ISetting::stringType, "string", std::string("ab\0cd", 5)));
        EXPECT_EQ(utf8, valueText(ISetting::stringType, "string", utf8)) << name;
        EXPECT_EQ(utf8, valueText(ISetting::unicodeString, "unicodeString",
                                  std::wstring(L"ab\u00e9z\U0001F600")))
            << name;
    }
}

// The length query and a short buffer report the full length, copy nothing and keep the modified
// flag; a buffer of that length receives the document and clears it; a second serialisation
// gives identical bytes.
TEST(XMLWriter, TheLengthProtocolCopiesOnlyIntoABufferOfTheFullLength) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a/b", ISetting::int32Type, int32_t(5));
    put(*set, "a/c", ISetting::stringType, std::string("text"));
    set->insertSetting("d", makeBinarySetting({1, 2, 3}));
    for (size_t available : {size_t(0), size_t(1)}) {
        SCOPED_TRACE(available);
        set->checkModified();
        const std::string document = serialized(*set);
        EXPECT_FALSE(set->checkModified());
        EXPECT_EQ(0u, document.find(declaration()));
        EXPECT_EQ("</configuration>\n", document.substr(document.size() - 17));
        std::string buffer(document.size() - available, '#');
        size_t length = 0;
        try {
            set->serialize(available == 0 ? nullptr : reinterpret_cast<unsigned char*>(&buffer[0]),
                           available == 0 ? 0 : buffer.size(), &length);
            FAIL() << "a short buffer was accepted";
        } catch (IConfigurationSet::ConfigurationSetException exception) {
            EXPECT_EQ(IConfigurationSet::outBufferTooSmallException, exception);
        }
        EXPECT_EQ(document.size(), length);
        EXPECT_EQ(std::string(buffer.size(), '#'), buffer);
        EXPECT_TRUE(set->checkModified()) << "a failed serialize keeps the modified flag";
        EXPECT_EQ(document, serialized(*set));
    }
}

TEST(XMLWriter, UnwritablePathsAndValuesFailAndWriteNothing) {
    // A segment that is no XML name fails with the DOM's exception.
    for (const char* path : {"/a/b", "a///b", "1a/x", "a b/x"}) {
        AutoRefCounted<IConfigurationSet> set = newXmlSet();
        put(*set, path, ISetting::int32Type, int32_t(1));
        unsigned char out[4096];
        std::fill(std::begin(out), std::end(out), 0xAA);
        size_t length = 12345;
        EXPECT_THROW(set->serialize(out, sizeof out, &length), xercesc::DOMException) << path;
        EXPECT_EQ(12345u, length);
        EXPECT_EQ(0xAA, out[0]);
        EXPECT_TRUE(set->checkModified());
    }
    // A character XML cannot carry fails instead of writing part of a document.
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "x", ISetting::stringType,
        std::string("a\x01"
                    "b"));
    size_t length = 12345;
    EXPECT_THROW(set->serialize(nullptr, 0, &length), IConfigurationSet::ConfigurationSetException);
    EXPECT_EQ(12345u, length);
}

// Digit grouping and a decimal comma, as some national locales have.
class GroupingNumbers : public std::numpunct<wchar_t> {
  protected:
    wchar_t do_decimal_point() const override { return L','; }
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
};

// Numbers are written and read in the classic form whatever the program's global locale, so a
// document means the same in every program.
TEST(XMLWriter, NumbersAreWrittenAndReadInClassicFormUnderAGroupingGlobalLocale) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "/a", ISetting::doubleType, 1.5);
    put(*set, "/b", ISetting::int32Type, int32_t(1234567));
    const std::string classic = serialized(*set);
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new GroupingNumbers));
    const std::string grouped = serialized(*set);
    AutoRefCounted<IConfigurationSet> back = newXmlSet();
    unserialize(*back, classic);
    std::locale::global(previous);
    EXPECT_EQ(classic, grouped);
    EXPECT_NE(std::string::npos, grouped.find(">1234567<"));
    EXPECT_EQ(1234567, valueAt<int32_t>(*back, "/b"));
    EXPECT_EQ(1.5, valueAt<double>(*back, "/a"));
}

TEST(XMLWriter, APathDeeperThanTheNestingBoundFailsInsteadOfExhaustingTheStack) {
    std::string deepest;
    for (size_t segment = 0; segment < XMLConfigurationSet::sd_maxElementDepth - 2; ++segment) {
        deepest += "a/";
    }
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, deepest + "x", ISetting::int32Type, int32_t(1));
    AutoRefCounted<IConfigurationSet> back = newXmlSet();
    unserialize(*back, serialized(*set));
    EXPECT_TRUE(setsEqual(back, set));

    for (size_t extra : {size_t(1), size_t(100000)}) {
        std::string path = deepest;
        for (size_t segment = 0; segment < extra; ++segment) {
            path += "a/";
        }
        put(*set, path + "x", ISetting::int32Type, int32_t(2));
        size_t length = 0;
        try {
            set->serialize(nullptr, 0, &length);
            FAIL() << "a path " << extra << " segments too deep was written";
        } catch (IConfigurationSet::ConfigurationSetException exception) {
            EXPECT_EQ(IConfigurationSet::serializationFailureException, exception);
        }
        set->removeSetting(path + "x");
    }
}
