#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

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

TEST(XMLWriter, SettingsUnderACommonBranchShareItsElement) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a/b/c/x", ISetting::int32Type, int32_t(1));
    put(*set, "a/c/y", ISetting::int32Type, int32_t(2));
    EXPECT_EQ(
        documentWith("\n  <a>\n    <b>\n      <c>\n        " + settingElement("x", "int32", "1") +
                     "\n      </c>\n    </b>\n    <c>\n      " + settingElement("y", "int32", "2") +
                     "\n    </c>\n  </a>\n"),
        serialized(*set));
}

TEST(XMLWriter, PathsWithAndWithoutALeadingSlashAreBothRootLevelSlashFirst) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "x", ISetting::int32Type, int32_t(1));
    put(*set, "/x", ISetting::int32Type, int32_t(2));
    EXPECT_EQ(documentWith("\n  " + settingElement("x", "int32", "2") + "\n\n  " +
                           settingElement("x", "int32", "1") + "\n"),
              serialized(*set));
}

TEST(XMLWriter, AnEmptySegmentJustBeforeTheNameIsSkippedAndATrailingSlashGivesAnEmptyName) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a//b", ISetting::int32Type, int32_t(1));
    put(*set, "c/", ISetting::int32Type, int32_t(2));
    EXPECT_EQ(
        documentWith("\n  <a>\n    " + settingElement("b", "int32", "1") +
                     "\n  </a>\n\n  <c>\n    " + settingElement("", "int32", "2") + "\n  </c>\n"),
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

TEST(XMLWriter, StringsAreEscapedByTheSerializer) {
    EXPECT_EQ("a&lt;b&amp;c&gt;\"'",
              valueText(ISetting::stringType, "string", std::string("a<b&c>\"'")));
    EXPECT_EQ("wide", valueText(ISetting::unicodeString, "unicodeString", std::wstring(L"wide")));
}

TEST(XMLWriter, BinaryBuffersAreBase64EndingInALineFeedAndEmptyValuesHaveNoText) {
    EXPECT_EQ("AAEC/w==\n", rootSettingText("binary", makeBinarySetting({0x00, 0x01, 0x02, 0xff})));
    EXPECT_EQ("", rootSettingText("binary", makeBinarySetting({})));
    EXPECT_EQ("", valueText(ISetting::stringType, "string", std::string()));
    EXPECT_EQ("", valueText(ISetting::unicodeString, "unicodeString", std::wstring()));
}

TEST(XMLWriter, LongBinaryBuffersAreBrokenIntoLinesOfSixtyCharacters) {
    const std::string text =
        rootSettingText("binary", makeBinarySetting(std::vector<unsigned char>(100, 7)));
    EXPECT_EQ(60u, text.find('\n'));
    EXPECT_EQ('\n', text.back());
}

TEST(XMLWriter, AStringIsCutAtItsFirstNulOrAtTheFirstCharacterTheLocaleCannotConvert) {
    ScopedLocale locale("C");
    EXPECT_EQ("ab", valueText(ISetting::stringType, "string", std::string("ab\0cd", 5)));
    EXPECT_EQ("ab", valueText(ISetting::stringType, "string", std::string("ab\xc3\xa9z")));
    EXPECT_EQ("ab",
              valueText(ISetting::unicodeString, "unicodeString", std::wstring(L"ab\u00e9z")));
}

TEST(XMLWriter, UnderUtf8NonAsciiTextIsWrittenAsUtf8) {
    ScopedLocale locale("C.UTF-8");
    ASSERT_TRUE(locale.available());
    EXPECT_EQ("ab\xc3\xa9z\xf0\x9f\x98\x80", valueText(ISetting::stringType, "string",
                                                       std::string("ab\xc3\xa9z\xf0\x9f\x98\x80")));
    EXPECT_EQ("ab\xc3\xa9z\xf0\x9f\x98\x80", valueText(ISetting::unicodeString, "unicodeString",
                                                       std::wstring(L"ab\u00e9z\U0001F600")));
}

TEST(XMLWriter, SerializingTwiceWithoutAChangeGivesIdenticalBytes) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a/b", ISetting::doubleType, 3.25);
    put(*set, "a/c", ISetting::stringType, std::string("text"));
    set->insertSetting("d", makeBinarySetting({1, 2, 3}));
    const std::string first = serialized(*set);
    EXPECT_EQ(first, serialized(*set));
}

// The search for a parent's branch element: a child is reused only when it is the one element
// child with that tag name (setting elements count under the name "setting"); otherwise a new
// element is made, and so is every deeper segment of that path.
TEST(XMLWriter, AnOnlyChildOfTheSegmentsNameIsReusedEvenWhenItIsASettingElement) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a/setting", ISetting::int32Type, int32_t(1));
    put(*set, "a/setting/x", ISetting::int32Type, int32_t(2));
    EXPECT_EQ(documentWith("\n  <a>\n    <setting name=\"setting\" type=\"int32\">1" +
                           std::string("\n      ") + settingElement("x", "int32", "2") +
                           "\n    </setting>\n  </a>\n"),
              serialized(*set));
}

TEST(XMLWriter, SeveralChildrenOfTheSegmentsNameGiveNewElementsForTheRestOfThePath) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a/p", ISetting::int32Type, int32_t(1));
    put(*set, "a/q", ISetting::int32Type, int32_t(2));
    put(*set, "a/setting/b/x", ISetting::int32Type, int32_t(3));
    put(*set, "a/setting/b/y", ISetting::int32Type, int32_t(4));
    const std::string newBranch = "\n    <setting>\n      <b>\n        ";
    const std::string branchEnd = "\n      </b>\n    </setting>";
    EXPECT_EQ(documentWith("\n  <a>\n    " + settingElement("p", "int32", "1") + "\n    " +
                           settingElement("q", "int32", "2") + newBranch +
                           settingElement("x", "int32", "3") + branchEnd + newBranch +
                           settingElement("y", "int32", "4") + branchEnd + "\n  </a>\n"),
              serialized(*set));
}

TEST(XMLWriter, ASegmentThatIsNoXmlNameFailsWithTheDomExceptionAndWritesNothing) {
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
}

TEST(XMLWriter, AValueWithACharacterXmlCannotCarryFailsInsteadOfWritingPartOfADocument) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "x", ISetting::stringType,
        std::string("a\x01"
                    "b"));
    size_t length = 12345;
    EXPECT_THROW(set->serialize(nullptr, 0, &length), IConfigurationSet::ConfigurationSetException);
    EXPECT_EQ(12345u, length);
}

TEST(XMLWriter, TheLengthQueryReportsTheFullLengthAndABufferOfThatLengthReceivesTheDocument) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a/b", ISetting::int32Type, int32_t(5));
    size_t length = 0;
    try {
        set->serialize(nullptr, 0, &length);
        FAIL() << "the length query succeeded";
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        EXPECT_EQ(IConfigurationSet::outBufferTooSmallException, exception);
    }
    EXPECT_TRUE(set->checkModified()) << "a failed serialize keeps the modified flag";
    set->checkModified();
    std::string buffer(length, '\0');
    size_t secondLength = 0;
    set->serialize(reinterpret_cast<unsigned char*>(&buffer[0]), buffer.size(), &secondLength);
    EXPECT_EQ(length, secondLength);
    EXPECT_EQ(0u, buffer.find(declaration()));
    EXPECT_EQ("</configuration>\n", buffer.substr(buffer.size() - 17));
}

TEST(XMLWriter, ABufferOneByteShortIsLeftUntouched) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a/b", ISetting::int32Type, int32_t(5));
    const std::string document = serialized(*set);
    std::string buffer(document.size() - 1, '#');
    size_t length = 0;
    try {
        set->serialize(reinterpret_cast<unsigned char*>(&buffer[0]), buffer.size(), &length);
        FAIL() << "a short buffer was accepted";
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        EXPECT_EQ(IConfigurationSet::outBufferTooSmallException, exception);
    }
    EXPECT_EQ(document.size(), length);
    EXPECT_EQ(std::string(document.size() - 1, '#'), buffer);
}

TEST(XMLWriter, ASuccessfulSerializeClearsTheModifiedFlag) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "a", ISetting::int32Type, int32_t(5));
    serialized(*set);
    EXPECT_FALSE(set->checkModified());
}

TEST(XMLWriter, ALengthQueryOnASetHoldingABinarySettingRaisesTheModifiedFlag) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    set->insertSetting("b", makeBinarySetting({1, 2}));
    set->checkModified();
    size_t length = 0;
    EXPECT_THROW(set->serialize(nullptr, 0, &length), IConfigurationSet::ConfigurationSetException);
    EXPECT_TRUE(set->checkModified());
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
    EXPECT_TRUE(equalSets(*back, set));

    put(*set, deepest + "a/x", ISetting::int32Type, int32_t(2));
    size_t length = 0;
    try {
        set->serialize(nullptr, 0, &length);
        FAIL() << "a path one segment too deep was written";
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        EXPECT_EQ(IConfigurationSet::serializationFailureException, exception);
    }
}

TEST(XMLWriter, APathOfAHundredThousandSegmentsFails) {
    std::string path;
    for (int segment = 0; segment < 100000; ++segment) {
        path += "a/";
    }
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, path + "x", ISetting::int32Type, int32_t(1));
    size_t length = 0;
    EXPECT_THROW(set->serialize(nullptr, 0, &length), IConfigurationSet::ConfigurationSetException);
}
