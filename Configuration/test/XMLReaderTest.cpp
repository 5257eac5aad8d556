// How documents become settings: paths, value texts, merging, and failures that change nothing.
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

// A set read from a document holding one root-level setting "/v".
AutoRefCounted<IConfigurationSet> readOne(const std::string& type, const std::string& text) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    unserialize(*set, documentWith(settingElement("v", type, text)));
    return set;
}

std::string stringAt(IConfigurationSet& set, const std::string& path) {
    return *valueAt<const std::string*>(set, path);
}

// Reads document into a set holding p and q and expects the same objects and values afterwards
// (and, after a read, the modified flag cleared). Returns how the read ended: "read", "stream"
// (std::ios_base::failure) or the exception's value.
std::string readLeavingPAndQ(const std::string& document) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    putInt(*set, "p", 1);
    set->insertSetting("q", makeSetting(ISetting::stringType, std::string("old")));
    const AutoRefCounted<ISetting> p = set->retrieveSetting("p");
    const AutoRefCounted<ISetting> q = set->retrieveSetting("q");
    set->checkModified();
    std::string outcome = "read";
    try {
        unserialize(*set, document);
    } catch (const std::ios_base::failure&) {
        outcome = "stream";
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        outcome = std::to_string(exception);
    }
    EXPECT_EQ((std::vector<std::string>{"p", "q"}), pathsOf(*set));
    EXPECT_EQ(p.operator->(), set->retrieveSetting("p").operator->());
    EXPECT_EQ(q.operator->(), set->retrieveSetting("q").operator->());
    EXPECT_EQ("old", stringAt(*set, "q"));
    EXPECT_TRUE(outcome != "read" || !set->checkModified());
    return outcome;
}

}  // namespace

// Each case: a document and the paths it gives, with the int32 value read at the first path.
TEST(XMLReader, KeysFollowTheElementsAroundEachSetting) {
    const std::string one = settingElement("x", "int32", "1");
    const std::string two = settingElement("y", "int32", "2");
    const struct {
        std::string document;
        std::vector<std::string> paths;
        int32_t first;
    } cases[] = {
        // Root-level settings get a leading slash, branch settings do not.
        {documentWith("<a><b>" + settingElement("c", "int32", "5") + "</b></a>" + two),
         {"a/b/c", "/y"},
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
        // value, cut at a comment.
        {documentWith("text<?pi data?><!-- c --><a extra=\"1\">more text" +
                      std::string("<setting id=\"7\" name=\"x\" type=\"int32\">") +
                      "<b/>5<!-- c -->6</setting></a>"),
         {"a/x"},
         5},
    };
    for (const auto& readCase : cases) {
        SCOPED_TRACE(readCase.document);
        AutoRefCounted<IConfigurationSet> set = newXmlSet();
        unserialize(*set, readCase.document);
        std::vector<std::string> sorted = readCase.paths;
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(sorted, pathsOf(*set));
        EXPECT_EQ(readCase.first, valueAt<int32_t>(*set, readCase.paths.front()));
    }
}

// A read replaces the settings it names by new objects (holders keep the old ones) and keeps the
// others; it clears the modified flag, which its settings share; an empty one merges nothing.
TEST(XMLReader, ReadingMergesAndClearsTheModifiedFlag) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    putInt(*set, "p", 1);
    putInt(*set, "a/q", 2);
    const AutoRefCounted<ISetting> oldP = set->retrieveSetting("p");
    const AutoRefCounted<ISetting> oldQ = set->retrieveSetting("a/q");
    unserialize(*set, documentWith("<a>" + settingElement("q", "string", "new") +
                                   settingElement("r", "int32", "3") + "</a>"));
    EXPECT_EQ((std::vector<std::string>{"a/q", "a/r", "p"}), pathsOf(*set));
    EXPECT_EQ(oldP.operator->(), set->retrieveSetting("p").operator->());
    EXPECT_EQ("new", stringAt(*set, "a/q"));
    int32_t oldValue = 0;
    oldQ->getValue(&oldValue);
    EXPECT_EQ(2, oldValue);
    EXPECT_FALSE(set->checkModified());
    set->retrieveSetting("a/r")->setValue(int32_t(4));
    EXPECT_TRUE(set->checkModified());
    // A read that fails after building a setting leaves the flag raised.
    EXPECT_EQ(IConfigurationSet::serializationFailureException,
              failureOf(*set, documentWith(settingElement("a", "int32", "1") +
                                           settingElement("b", "nothing", "1"))));
    EXPECT_TRUE(set->checkModified());
    EXPECT_EQ("read", readLeavingPAndQ("<configuration/>"));
}

// Numbers by the wide stream's rules (narrow ones keep the low bits of a 32-bit number), texts
// with their escapes and character references, characters outside the basic plane as one wide
// character, long texts whole, and Base64 broken by any whitespace.
TEST(XMLReader, ValueTextsAreReadByTheWideStreamsRules) {
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
    EXPECT_EQ("ab", stringAt(*readOne("string", "ab<!-- note -->cd"), "/v"));
    EXPECT_EQ("a<b&c>", stringAt(*readOne("string", "a&lt;b&amp;c&gt;"), "/v"));
    EXPECT_EQ(L"A\U0001F600z\u00e9",
              *valueAt<const std::wstring*>(
                  *readOne("unicodeString", "&#65;\xf0\x9f\x98\x80z\xc3\xa9"), "/v"));
    std::string text;
    for (int index = 0; index < 50000; ++index) {
        text += "\xf0\x9f\x98\x80-";
    }
    EXPECT_EQ(100000u, valueAt<const std::wstring*>(*readOne("unicodeString", text), "/v")->size());
    const unsigned char* bytes = nullptr;
    size_t length = 0;
    const AutoRefCounted<IConfigurationSet> binary = readOne("binary", "\n  AAEC\n  /w==\n");
    binary->retrieveLockedSetting("/v")->getLockedBinaryBuffer(&bytes, &length);
    EXPECT_EQ((std::vector<unsigned char>{0x00, 0x01, 0x02, 0xff}),
              std::vector<unsigned char>(bytes, bytes + length));
}

// Text the stream cannot read fails with the stream's exception; documents that do not fit the
// format fail with serializationFailureException. Either way a setting read before the fault
// (q) never reaches the set.
TEST(XMLReader, FailedReadsLeaveTheSetUnchanged) {
    const std::string before = settingElement("q", "string", "new");
    const std::string failure = std::to_string(IConfigurationSet::serializationFailureException);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"stream", settingElement("v", "int32", "4294967296")},
        {"stream", settingElement("v", "int32", "abc")},
        {"stream", settingElement("v", "int32", " ")},
        {"stream", settingElement("v", "uint64", "18446744073709551616")},
        {"stream", settingElement("v", "bool", "1")},
        {"stream", settingElement("v", "bool", "TRUE")},
        {"stream", settingElement("v", "double", "inf")},
        {"stream", settingElement("v", "double", "nan")},
        {failure, "<a>"},  // not well-formed
        {failure, "<setting type=\"int32\">1</setting>"},
        {failure, "<setting name=\"v\">1</setting>"},
        {failure, "<setting>1</setting>"},
        {failure, "<setting name=\"v\" type=\"int32\"><x/></setting>"},  // no text child
        {failure, settingElement("v", "int32", "<![CDATA[1]]>")},
        {failure, settingElement("v", "int32", "<!--1-->")},
        {failure, settingElement("v", "integer", "1")},
        {failure, settingElement("v", "Int32", "1")},
        {failure, settingElement("v", "binary", "A!==")},
        {failure, settingElement("v", "binary", "  ")},
        {failure, settingElement("v", "string", "")},
        {failure, "<setting name=\"v\" type=\"binary\"/>"},
        {failure, "</configuration><configuration>"},  // two root elements
    };
    for (const auto& [outcome, element] : cases) {
        SCOPED_TRACE(element);
        EXPECT_EQ(outcome, readLeavingPAndQ(documentWith(before + element)));
    }
    EXPECT_EQ(failure, readLeavingPAndQ(""));
    EXPECT_EQ(failure, readLeavingPAndQ("just text"));
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    EXPECT_THROW(set->unserialize(nullptr, 0), IConfigurationSet::ConfigurationSetException);
}
