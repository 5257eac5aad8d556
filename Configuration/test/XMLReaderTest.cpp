#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ios>
#include <string>
#include <vector>

#include "XMLTestSupport.h"

using namespace xmltest;

namespace {

std::string documentWith(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<configuration>" + body +
           "</configuration>";
}

// A set read from a document holding one root-level setting "v".
AutoRefCounted<IConfigurationSet> readOne(const std::string& type, const std::string& text) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    unserialize(*set, documentWith(settingElement("v", type, text)));
    return set;
}

// A set holding p and q, to show that a failed read changes nothing.
AutoRefCounted<IConfigurationSet> setHoldingPAndQ() {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "p", ISetting::int32Type, int32_t(1));
    put(*set, "q", ISetting::stringType, std::string("old"));
    return set;
}

void expectHoldsOnlyPAndQ(IConfigurationSet& set, const ISetting* p, const ISetting* q) {
    EXPECT_EQ((std::vector<std::string>{"p", "q"}), pathsOf(set));
    EXPECT_EQ(p, set.retrieveSetting("p").operator->());
    EXPECT_EQ(q, set.retrieveSetting("q").operator->());
    EXPECT_EQ(1, valueAt<int32_t>(set, "p"));
    EXPECT_EQ("old", stringAt(set, "q"));
}

// Reads the document into a set holding p and q, expects the read to fail (with the stream's
// exception or with serializationFailureException) and the set to be left unchanged.
void expectFailedReadLeavesPAndQ(const std::string& document, bool streamFailure) {
    AutoRefCounted<IConfigurationSet> set = setHoldingPAndQ();
    const AutoRefCounted<ISetting> p = set->retrieveSetting("p");
    const AutoRefCounted<ISetting> q = set->retrieveSetting("q");
    if (streamFailure) {
        EXPECT_THROW(unserialize(*set, document), std::ios_base::failure);
    } else {
        EXPECT_EQ(IConfigurationSet::serializationFailureException, failureOf(*set, document));
    }
    expectHoldsOnlyPAndQ(*set, p.operator->(), q.operator->());
}

}  // namespace

// Each case: a document and the paths it gives, with the int32 value read at the first path.
TEST(XMLReader, KeysFollowTheElementsAroundEachSetting) {
    const std::string one = settingElement("x", "int32", "1");
    const std::string two = settingElement("y", "int32", "2");
    struct Case {
        std::string document;
        std::vector<std::string> paths;
        int32_t first;
    };
    const std::vector<Case> cases = {
        // Root-level settings get a leading slash, branch settings do not.
        {documentWith("<a><b>" + settingElement("c", "int32", "5") + "</b></a>" +
                      settingElement("x", "bool", "true")),
         {"a/b/c", "/x"},
         5},
        // "configuration" elements add nothing to the path at any depth.
        {documentWith("<configuration>" + one + "</configuration><a><configuration>" + two +
                      "</configuration></a>"),
         {"/x", "a/y"},
         1},
        // A root of another name is a branch; a root named "setting" is one setting.
        {"<other>" + one + "</other>", {"other/x"}, 1},
        {two, {"/y"}, 2},
        // Siblings after a branch see the same branch path.
        {documentWith("<a><b>" + one + "</b>" + two + "<c>" + settingElement("z", "int32", "3") +
                      "</c></a>" + settingElement("w", "int32", "4")),
         {"a/b/x", "/w", "a/c/z", "a/y"},
         1},
        // The later of two settings with the same key wins.
        {documentWith(one + settingElement("x", "int32", "2")), {"/x"}, 2},
        // Other attributes and non-element children are ignored; the first text child is the
        // value.
        {documentWith("text<?pi data?><!-- c --><a extra=\"1\">more text" +
                      std::string("<setting id=\"7\" name=\"x\" type=\"int32\">") +
                      "<b/>5<!-- c -->6</setting></a>"),
         {"a/x"},
         5},
    };
    for (const Case& readCase : cases) {
        SCOPED_TRACE(readCase.document);
        AutoRefCounted<IConfigurationSet> set = newXmlSet();
        unserialize(*set, readCase.document);
        std::vector<std::string> sorted = readCase.paths;
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(sorted, pathsOf(*set));
        EXPECT_EQ(readCase.first, valueAt<int32_t>(*set, readCase.paths.front()));
    }
}

TEST(XMLReader, ReadingMergesReplacingNamedSettingsByNewObjectsAndKeepingTheOthers) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    put(*set, "p", ISetting::int32Type, int32_t(1));
    put(*set, "a/q", ISetting::int32Type, int32_t(2));
    const AutoRefCounted<ISetting> oldP = set->retrieveSetting("p");
    const AutoRefCounted<ISetting> oldQ = set->retrieveSetting("a/q");
    unserialize(*set, documentWith("<a>" + settingElement("q", "string", "new") +
                                   settingElement("r", "int32", "3") + "</a>"));
    EXPECT_EQ((std::vector<std::string>{"a/q", "a/r", "p"}), pathsOf(*set));
    EXPECT_EQ(oldP.operator->(), set->retrieveSetting("p").operator->());
    EXPECT_NE(oldQ.operator->(), set->retrieveSetting("a/q").operator->());
    EXPECT_EQ("new", stringAt(*set, "a/q"));
    int32_t oldValue = 0;
    oldQ->getValue(&oldValue);
    EXPECT_EQ(2, oldValue) << "holders of the replaced setting keep the old object";
    EXPECT_FALSE(set->checkModified());
}

TEST(XMLReader, SettingsReadShareTheSetsModifiedFlagAndAFailedReadThatBuiltOneLeavesItRaised) {
    AutoRefCounted<IConfigurationSet> set = readOne("int32", "1");
    EXPECT_FALSE(set->checkModified());
    set->retrieveSetting("/v")->setValue(int32_t(2));
    EXPECT_TRUE(set->checkModified());

    set->checkModified();
    EXPECT_EQ(IConfigurationSet::serializationFailureException,
              failureOf(*set, documentWith(settingElement("a", "int32", "1") +
                                           settingElement("b", "nothing", "1"))));
    EXPECT_TRUE(set->checkModified());
}

TEST(XMLReader, AnEmptyConfigurationMergesNothingAndClearsTheModifiedFlag) {
    AutoRefCounted<IConfigurationSet> set = setHoldingPAndQ();
    const AutoRefCounted<ISetting> p = set->retrieveSetting("p");
    const AutoRefCounted<ISetting> q = set->retrieveSetting("q");
    unserialize(*set, "<configuration/>");
    expectHoldsOnlyPAndQ(*set, p.operator->(), q.operator->());
    EXPECT_FALSE(set->checkModified());
}

TEST(XMLReader, ValueTextsAreReadByTheWideStreamsRules) {
    // Narrow integers keep the low bits of a 32-bit number.
    EXPECT_EQ(44, valueAt<unsigned char>(*readOne("uchar", "300"), "/v"));
    EXPECT_EQ(-56, valueAt<signed char>(*readOne("char", "200"), "/v"));
    EXPECT_EQ(4464, valueAt<uint16_t>(*readOne("uint16", "70000"), "/v"));
    EXPECT_EQ(-1, valueAt<int16_t>(*readOne("int16", "65535"), "/v"));
    EXPECT_EQ(4294967295u, valueAt<uint32_t>(*readOne("uint32", "-1"), "/v"));
    EXPECT_EQ(42, valueAt<int32_t>(*readOne("int32", "  42  "), "/v"));
    EXPECT_EQ(42, valueAt<int32_t>(*readOne("int32", "42abc"), "/v"));
    EXPECT_EQ(0, valueAt<int32_t>(*readOne("int32", "0x10"), "/v"));
    EXPECT_EQ(-9223372036854775807 - 1,
              valueAt<int64_t>(*readOne("int64", "-9223372036854775808"), "/v"));
    EXPECT_EQ(0.5, valueAt<double>(*readOne("double", "5e-1"), "/v"));
    EXPECT_EQ(0.1f, valueAt<float>(*readOne("float", "0.1"), "/v"));
    EXPECT_TRUE(valueAt<bool>(*readOne("bool", "true"), "/v"));
    EXPECT_FALSE(valueAt<bool>(*readOne("bool", "false"), "/v"));
    // A value split by a comment is cut at the comment.
    EXPECT_EQ("ab", stringAt(*readOne("string", "ab<!-- note -->cd"), "/v"));
    EXPECT_EQ(12, valueAt<int32_t>(*readOne("int32", "12<!-- note -->34"), "/v"));
    // Escapes and character references are read as their characters.
    EXPECT_EQ("a<b&c>", stringAt(*readOne("string", "a&lt;b&amp;c&gt;"), "/v"));
    EXPECT_EQ(L"A\U0001F600", wideStringAt(*readOne("unicodeString", "&#65;&#x1F600;"), "/v"));
}

TEST(XMLReader, TextTheStreamCannotReadFailsWithTheStreamsExceptionAndChangesNothing) {
    for (const auto& [type, text] :
         std::vector<std::pair<std::string, std::string>>{{"int32", "4294967296"},
                                                          {"int32", "abc"},
                                                          {"int32", " "},
                                                          {"uint64", "18446744073709551616"},
                                                          {"bool", "1"},
                                                          {"bool", "TRUE"},
                                                          {"double", "inf"},
                                                          {"double", "nan"}}) {
        SCOPED_TRACE(type + " " + text);
        expectFailedReadLeavesPAndQ(
            documentWith(settingElement("q", "string", "new") + settingElement("v", type, text)),
            true);
    }
}

TEST(XMLReader, ACharacterOutsideTheBasicPlaneIsOneWideCharacterAndLongTextIsReadWhole) {
    const std::wstring value =
        wideStringAt(*readOne("unicodeString", "a\xf0\x9f\x98\x80z\xc3\xa9"), "/v");
    EXPECT_EQ(std::wstring(L"a\U0001F600z\u00e9"), value);
    EXPECT_EQ(4u, value.size());

    // A long one is read whole.
    std::string text;
    for (int index = 0; index < 50000; ++index) {
        text +=
            "\xf0\x9f\x98\x80"
            "b";
    }
    const std::wstring longValue = wideStringAt(*readOne("unicodeString", text), "/v");
    ASSERT_EQ(100000u, longValue.size());
    EXPECT_EQ(L'\U0001F600', longValue[99998]);
    EXPECT_EQ(L'b', longValue[99999]);
}

TEST(XMLReader, Base64MayBeBrokenByAnyWhitespace) {
    AutoRefCounted<IConfigurationSet> set = readOne("binary", "\n  AAEC\n  /w==\n");
    const unsigned char* bytes = nullptr;
    size_t length = 0;
    set->retrieveLockedSetting("/v")->getLockedBinaryBuffer(&bytes, &length);
    EXPECT_EQ((std::vector<unsigned char>{0x00, 0x01, 0x02, 0xff}),
              std::vector<unsigned char>(bytes, bytes + length));
}

// Every document of this table fails with serializationFailureException, and the setting it
// names before the fault (q) never reaches the set.
TEST(XMLReader, DocumentsThatDoNotFitTheFormatFailAndLeaveTheSetUnchanged) {
    const std::string before = settingElement("q", "string", "new");
    const std::vector<std::pair<const char*, std::string>> cases = {
        {"empty input", ""},
        {"not well-formed", documentWith(before + "<a>")},
        {"text only", "just text"},
        {"missing name", documentWith(before + "<setting type=\"int32\">1</setting>")},
        {"missing type", documentWith(before + "<setting name=\"v\">1</setting>")},
        {"no attributes", documentWith(before + "<setting>1</setting>")},
        {"no text child",
         documentWith(before + "<setting name=\"v\" type=\"int32\"><x/></setting>")},
        {"CDATA only", documentWith(before + settingElement("v", "int32", "<![CDATA[1]]>"))},
        {"comment only", documentWith(before + settingElement("v", "int32", "<!--1-->"))},
        {"unknown type keyword", documentWith(before + settingElement("v", "integer", "1"))},
        {"type keyword of another case", documentWith(before + settingElement("v", "Int32", "1"))},
        {"bad Base64", documentWith(before + settingElement("v", "binary", "A!=="))},
        {"Base64 of only whitespace", documentWith(before + settingElement("v", "binary", "  "))},
        {"empty setting element", documentWith(before + settingElement("v", "string", ""))},
        {"empty setting element, short form",
         documentWith(before + "<setting name=\"v\" type=\"binary\"/>")},
        {"two root elements", documentWith(before) + "<configuration/>"},
    };
    for (const auto& [name, document] : cases) {
        SCOPED_TRACE(name);
        expectFailedReadLeavesPAndQ(document, false);
    }
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    EXPECT_THROW(set->unserialize(nullptr, 0), IConfigurationSet::ConfigurationSetException);
}
