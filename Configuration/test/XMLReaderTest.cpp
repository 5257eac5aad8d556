// How documents become settings: paths, value texts, merging, failures that change nothing, and
// documents made to harm the reader, which fail fast, fetch nothing and bring nothing in.
#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <ios>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "XMLTestSupport.h"

#include <orvandel/configuration/internal/XMLDocumentReader.h>

using namespace xmltest;

namespace {

const char sd_secret[] = "TOP-SECRET-7c1e";

std::string documentWith(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<configuration>" + body +
           "</configuration>";
}

AutoRefCounted<IConfigurationSet> readSet(const std::string& document) {
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    unserialize(*set, document);
    return set;
}

// A set read from a document holding one root-level setting "/v".
AutoRefCounted<IConfigurationSet> readOne(const std::string& type, const std::string& text) {
    return readSet(documentWith(settingElement("v", type, text)));
}

std::string stringAt(IConfigurationSet& set, const std::string& path) {
    return *valueAt<const std::string*>(set, path);
}

// Reads document into a set holding a few settings and expects it unchanged (same objects and
// values) after a failure, its modified flag cleared after a read, and the secret in no setting.
// Returns how the read ended: "read", "stream" (std::ios_base::failure), "failure"
// (serializationFailureException) or another exception value.
std::string outcomeOf(const std::string& document) {
    AutoRefCounted<IConfigurationSet> set =
        orvandel_fuzz::createPopulatedSet("XMLConfigurationSet");
    const std::vector<orvandel_fuzz::SettingSnapshot> before = orvandel_fuzz::snapshot(*set);
    std::string outcome = "read";
    try {
        unserialize(*set, document);
        EXPECT_FALSE(set->checkModified());
    } catch (const std::ios_base::failure&) {
        outcome = "stream";
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        outcome = exception == IConfigurationSet::serializationFailureException
                      ? "failure"
                      : std::to_string(exception);
    }
    EXPECT_TRUE(outcome == "read" || orvandel_fuzz::snapshot(*set) == before);
    for (const orvandel_fuzz::SettingSnapshot& setting : orvandel_fuzz::snapshot(*set)) {
        EXPECT_EQ(std::string::npos,
                  std::string(setting.value.begin(), setting.value.end()).find(sd_secret));
    }
    return outcome;
}

std::string repeated(const std::string& text, size_t count) {
    std::string result;
    for (size_t index = 0; index < count; ++index) {
        result += text;
    }
    return result;
}

std::string attributes(size_t count) {
    std::string text;
    for (size_t index = 0; index < count; ++index) {
        text += " a" + std::to_string(index) + "=\"1\"";
    }
    return text;
}

std::string nested(size_t depth, const std::string& innermost) {
    return repeated("<a>", depth) + innermost + repeated("</a>", depth);
}

}  // namespace

// Each case: the int32 value read at the first of the paths, the paths, and the document.
TEST(XMLReader, KeysFollowTheElementsAroundEachSetting) {
    const std::string x = settingElement("x", "int32", "1");
    const std::string y = settingElement("y", "int32", "2");
    const std::string z = settingElement("z", "int32", "3");
    const struct {
        int32_t first;
        std::vector<std::string> paths;
        std::string document;
    } cases[] = {
        // Root-level settings get a leading slash, branch settings do not.
        {3, {"a/b/z", "/y"}, documentWith("<a><b>" + z + "</b></a>" + y)},
        // "configuration" elements add nothing to the path at any depth.
        {1,
         {"/x", "a/y"},
         documentWith("<configuration>" + x + "</configuration><a>" + "<configuration>" + y +
                      "</configuration></a>")},
        // A root of another name is a branch; a root named "setting" is one setting.
        {1, {"other/x"}, "<other>" + x + "</other>"},
        {2, {"/y"}, y},
        // Siblings after a branch see the same branch path.
        {1,
         {"a/b/x", "/w", "a/c/z", "a/y"},
         documentWith("<a><b>" + x + "</b>" + y + "<c>" + z + "</c></a>" +
                      settingElement("w", "int32", "4"))},
        // The later of two settings with the same key wins.
        {2, {"/x"}, documentWith(x + settingElement("x", "int32", "2"))},
        // Other attributes and non-element children are ignored; the first text child is the
        // value, cut at a comment.
        {5,
         {"a/x"},
         documentWith("t<?pi d?><!-- c --><a e=\"1\">t<setting id=\"7\" name=\"x\" "
                      "type=\"int32\"><b/>5<!-- c -->6</setting></a>")},
    };
    for (const auto& readCase : cases) {
        SCOPED_TRACE(readCase.document);
        AutoRefCounted<IConfigurationSet> set = readSet(readCase.document);
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
              testsupport::thrownValue<IConfigurationSet::ConfigurationSetException>([&] {
                  unserialize(*set, documentWith(settingElement("a", "int32", "1") +
                                                 settingElement("b", "nothing", "1")));
              }));
    EXPECT_TRUE(set->checkModified());
    EXPECT_EQ("read", outcomeOf("<configuration/>"));
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
    // Many predefined entities and character references are no expansion bomb.
    EXPECT_EQ(60000u, stringAt(*readOne("string", repeated("&amp;&lt;&#65;", 20000)), "/v").size());
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
// format or are made to harm the reader (an entity expansion bomb, bytes that are not XML, more
// nesting or attributes than the bounds, anywhere) fail with serializationFailureException.
// Either way the set is unchanged: a setting read before the fault (q) never reaches it.
TEST(XMLReader, FailedReadsLeaveTheSetUnchanged) {
    const auto withQ = [](const std::string& element) {
        return documentWith(settingElement("q", "string", "new") + element);
    };
    std::string bomb = "<!DOCTYPE configuration [<!ENTITY lol0 \"lollollollollollollol\">";
    for (int level = 1; level <= 9; ++level) {
        bomb += "<!ENTITY lol" + std::to_string(level) + " \"" +
                repeated("&lol" + std::to_string(level - 1) + ";", 10) + "\">";
    }
    std::string bytes;
    for (int value = 0; value < 256; ++value) {
        bytes += static_cast<char>(value);
    }
    const size_t bound = com::orvandel::configuration::XMLDocumentReader::sd_maxAttributes;
    const std::string opened = "<setting name=\"s\" type=\"int32\"";
    const size_t depth = XMLConfigurationSet::sd_maxElementDepth;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"stream", withQ(settingElement("v", "int32", "4294967296"))},
        {"stream", withQ(settingElement("v", "int32", "abc"))},
        {"stream", withQ(settingElement("v", "int32", " "))},
        {"stream", withQ(settingElement("v", "uint64", "18446744073709551616"))},
        {"stream", withQ(settingElement("v", "bool", "1"))},
        {"stream", withQ(settingElement("v", "bool", "TRUE"))},
        {"stream", withQ(settingElement("v", "double", "inf"))},
        {"stream", withQ(settingElement("v", "double", "nan"))},
        {"failure", withQ("<a>")},  // not well-formed
        {"failure", withQ("<setting type=\"int32\">1</setting>")},
        {"failure", withQ("<setting name=\"v\">1</setting>")},
        {"failure", withQ("<setting>1</setting>")},
        {"failure", withQ("<setting name=\"v\" type=\"int32\"><x/></setting>")},  // no text
        {"failure", withQ(settingElement("v", "int32", "<![CDATA[1]]>"))},
        {"failure", withQ(settingElement("v", "int32", "<!--1-->"))},
        {"failure", withQ(settingElement("v", "integer", "1"))},
        {"failure", withQ(settingElement("v", "Int32", "1"))},
        {"failure", withQ(settingElement("v", "binary", "A!=="))},
        {"failure", withQ(settingElement("v", "binary", "  "))},
        {"failure", withQ(settingElement("v", "string", ""))},
        {"failure", withQ("<setting name=\"v\" type=\"binary\"/>")},
        {"failure", withQ("</configuration><configuration>")},  // two root elements
        {"failure", ""},
        {"failure", "just text"},
        {"failure", bytes},
        {"failure", settingElement("s", "string", "\xff\xfe")},
        {"failure", bomb + "]>" + withQ(settingElement("s", "string", "&lol9;"))},
        {"failure", nested(100000, settingElement("s", "string", "deep"))},
        {"read", nested(depth - 1, settingElement("s", "int32", "1"))},
        {"failure", nested(depth, settingElement("s", "int32", "1"))},
        {"read", withQ(opened + attributes(bound - 2) + ">1</setting>")},
        {"failure", withQ(opened + attributes(bound - 1) + ">1</setting>")},
        {"failure", "<configuration" + attributes(bound + 1) + "/>"},
        {"failure", withQ("<x" + attributes(5000) + "/>")},
    };
    for (const auto& [outcome, document] : cases) {
        SCOPED_TRACE(document.substr(0, 100));
        EXPECT_EQ(outcome, outcomeOf(document));
    }
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    EXPECT_THROW(set->unserialize(nullptr, 0), IConfigurationSet::ConfigurationSetException);
    // Every truncation of a document fails, or reads it whole.
    const std::string whole = serialized(*readSet(withQ(settingElement("v", "double", "2.5"))));
    for (size_t length = 0; length < whole.size(); ++length) {
        if (outcomeOf(whole.substr(0, length)) == "read") {
            EXPECT_EQ(2u, readSet(whole.substr(0, length))->getSettingCount()) << length;
        }
    }
}

// An external entity, an external parameter entity and an external DTD, each of which would
// bring the secret into a setting if fetched; inotify tells whether either file was opened.
TEST(XMLReader, ExternalEntitiesAndDtdsAreNeverFetched) {
    testsupport::ScratchDirectory directory;
    const std::string secret = directory.file("secret");
    const std::string declarations = directory.file("declarations");
    std::ofstream(secret) << sd_secret;
    std::ofstream(declarations) << "<!ENTITY x SYSTEM \"file://" + secret + "\">";
    const int watch = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(watch, 0);
    ASSERT_GE(inotify_add_watch(watch, secret.c_str(), IN_OPEN | IN_ACCESS), 0);
    ASSERT_GE(inotify_add_watch(watch, declarations.c_str(), IN_OPEN | IN_ACCESS), 0);
    for (const std::string& doctype :
         {"<!DOCTYPE configuration [<!ENTITY x SYSTEM \"file://" + secret + "\">]>",
          "<!DOCTYPE configuration [<!ENTITY % d SYSTEM \"file://" + declarations + "\"> %d;]>",
          "<!DOCTYPE configuration SYSTEM \"file://" + declarations + "\">"}) {
        SCOPED_TRACE(doctype);
        EXPECT_EQ("failure", outcomeOf("<?xml version=\"1.0\"?>\n" + doctype + "<configuration>" +
                                       settingElement("s", "string", "&x;") + "</configuration>"));
        alignas(inotify_event) char events[4096];
        EXPECT_LE(read(watch, events, sizeof events), 0) << "a file was opened";
    }
    close(watch);
}
