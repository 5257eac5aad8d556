// The XML form. The reader: how documents become settings (paths, value texts, merging),
// failures that change nothing, and documents made to harm it, which fail fast, fetch nothing and
// bring nothing in; the reader is compared with the DOM reader it replaced over the saved
// documents of fuzz/corpus/XMLReaderFuzzer, by the differential fuzz target's replay. The writer:
// byte for byte as the DOM oracle it replaced over many generated sets, and the exact form where
// the oracle takes it from the library (value texts) or could get it wrong itself (layout, branch
// reuse, failures, bounds); and round trips.
#include <gtest/gtest.h>

#include <malloc.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <fstream>
#include <ios>
#include <limits>
#include <locale>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <xercesc/dom/DOMException.hpp>

#include <orvandel/configuration/internal/ConfigurationSetFactory.h>
#include <orvandel/configuration/internal/XMLConfigurationSet.h>
#include <orvandel/configuration/internal/XMLDocumentReader.h>

#include "FuzzSupport.h"
#include "TestSupport.h"
#include "WriterComparison.h"

namespace {

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::IConfigurationSet;
using com::orvandel::configuration::ISetting;
using com::orvandel::configuration::XMLConfigurationSet;
using std::numeric_limits;
using testsupport::makeBinarySetting;
using testsupport::makeSetting;
using testsupport::pathsOf;
using testsupport::setsEqual;

const std::string sd_declaration =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n";

AutoRefCounted<IConfigurationSet> newXmlSet() {
    return AutoRefCounted<IConfigurationSet>(new XMLConfigurationSet());
}

void putInt(IConfigurationSet& set, const std::string& path, int32_t value) {
    set.insertSetting(path, makeSetting(ISetting::int32Type, value));
}

// The whole document, asked for as callers do: a length query, then a buffer of that length.
std::string serialized(IConfigurationSet& set) {
    const std::vector<unsigned char> bytes = testsupport::serializedForm(set);
    return std::string(bytes.begin(), bytes.end());
}

void unserialize(IConfigurationSet& set, const std::string& document) {
    set.unserialize(reinterpret_cast<const unsigned char*>(document.data()), document.size());
}

std::string settingElement(const std::string& name, const std::string& type,
                           const std::string& text) {
    return "<setting name=\"" + name + "\" type=\"" + type + "\">" + text + "</setting>";
}

template <class T>
T valueAt(IConfigurationSet& set, const std::string& path) {
    T value{};
    set.retrieveSetting(path)->getValue(&value);
    return value;
}

// Runs check with LC_ALL set to name, then restores the previous locale.
template <class Check>
void underLocale(const char* name, Check check) {
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    ASSERT_NE(nullptr, std::setlocale(LC_ALL, name)) << name;
    check();
    std::setlocale(LC_ALL, previous.c_str());
}

std::string stringAt(IConfigurationSet& set, const std::string& path) {
    return *valueAt<const std::string*>(set, path);
}

// The document the writer gives for a root with the given children.
std::string written(const std::string& children) {
    return sd_declaration + "<configuration>\n" + children + "\n</configuration>\n";
}

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
    const auto whole = readOne("unicodeString", repeated("\xf0\x9f\x98\x80-", 50000));
    EXPECT_EQ(100000u, valueAt<const std::wstring*>(*whole, "/v")->size());
    EXPECT_EQ(L"\U0001F600-", valueAt<const std::wstring*>(*whole, "/v")->substr(99998));
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
// Either way the set is unchanged: a setting read before the fault (q) never reaches it. An
// external entity, external parameter entity or external DTD, each of which would bring the
// secret into a setting, is never fetched: inotify tells whether either file was opened.
TEST(XMLReader, FailedReadsLeaveTheSetUnchanged) {
    const auto withQ = [](const std::string& element) {
        return documentWith(settingElement("q", "string", "new") + element);
    };
    testsupport::ScratchDirectory directory;
    const std::string secret = directory.file("secret");
    const std::string declarations = directory.file("declarations");
    std::ofstream(secret) << sd_secret;
    std::ofstream(declarations) << "<!ENTITY x SYSTEM \"file://" + secret + "\">";
    const int watch = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(watch, 0);
    ASSERT_GE(inotify_add_watch(watch, secret.c_str(), IN_OPEN | IN_ACCESS), 0);
    ASSERT_GE(inotify_add_watch(watch, declarations.c_str(), IN_OPEN | IN_ACCESS), 0);
    const auto expanding = [](size_t references) {
        return "<!DOCTYPE configuration [<!ENTITY e \"x\">]><configuration>" +
               settingElement("s", "string", "v" + repeated("&e;", references)) +
               "</configuration>";
    };
    const std::string fetched =
        "<configuration>" + settingElement("s", "string", "&x;") + "</configuration>";
    std::string bomb = "<!DOCTYPE configuration [<!ENTITY lol0 \"lollollollollollollol\">";
    for (int level = 1; level <= 9; ++level) {
        bomb += "<!ENTITY lol" + std::to_string(level) + " \"" +
                repeated("&lol" + std::to_string(level - 1) + ";", 10) + "\">";
    }
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
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
        {"failure",
         "<!DOCTYPE configuration [<!ENTITY x SYSTEM \"file://" + secret + "\">]>" + fetched},
        {"failure", "<!DOCTYPE configuration [<!ENTITY % d SYSTEM \"file://" + declarations +
                        "\"> %d;]>" + fetched},
        {"failure", "<!DOCTYPE configuration SYSTEM \"file://" + declarations + "\">" + fetched},
        {"failure", settingElement("s", "string", "\xff\xfe")},
        {"failure",
         bomb + "]><configuration>" + settingElement("s", "string", "&lol9;") + "</configuration>"},
        {"failure", nested(100000, settingElement("s", "string", "deep"))},
        {"read", expanding(50)},  // entity references are bounded, far below a parser's default
        {"failure", expanding(200)},
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
    alignas(inotify_event) char events[4096];
    EXPECT_LE(read(watch, events, sizeof events), 0) << "a file was opened";
    close(watch);
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

// Xerces-C loses memory when it cannot finish a content model in a DTD. A set that reads such
// documents again and again must not keep what was lost (LeakSanitizer cannot see it: the
// parser's memory is handed back when the set is destroyed).
TEST(XMLReader, FailedReadsDoNotHoldOnToMemory) {
    const std::string lossy = "<!DOCTYPE configuration [<!ELEMENT b (s%tting)*>]><configuration/>";
    AutoRefCounted<IConfigurationSet> set = newXmlSet();
    const auto readAgain = [&](int times) {
        for (int read = 0; read < times; ++read) {
            EXPECT_THROW(set->unserialize(reinterpret_cast<const unsigned char*>(lossy.data()),
                                          lossy.size()),
                         IConfigurationSet::ConfigurationSetException);
        }
    };
    readAgain(100);
    const size_t before = mallinfo2().uordblks;
    readAgain(2000);
    EXPECT_LT(mallinfo2().uordblks, before + 64 * 1024);
}

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
        // Back into a setting element that a later sibling has followed.
        {{"a/k", "a/m/z", "a/setting/x"},
         "\n  <a>\n    <setting name=\"k\" type=\"int32\">0\n      " + s("x", "2") +
             "\n    </setting>\n    <m>\n      " + s("z", "1") + "\n    </m>\n  </a>\n"},
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
        EXPECT_EQ(written(children), serialized(*set));
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
        // Cut at the first byte the locale's encoding cannot convert.
        {makeSetting(ISetting::stringType, std::string("ok\x80\x41")), "ok", false},
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
        const std::locale previous =
            std::locale::global(name == std::string("grouping")
                                    ? std::locale(std::locale::classic(), new GroupingNumbers)
                                    : std::locale::classic());
        underLocale(name == std::string("grouping") ? "C" : name, [&] {
            for (const auto& valueCase : cases) {
                SCOPED_TRACE(std::string(name) + " " + valueCase.text);
                const char* keyword = keywords[valueCase.setting->getType()];
                AutoRefCounted<IConfigurationSet> set = newXmlSet();
                set->insertSetting("/v", valueCase.setting);
                EXPECT_EQ(written("\n  " + settingElement("v", keyword, valueCase.text) + "\n"),
                          serialized(*set));
                if (valueCase.readsBack) {
                    EXPECT_TRUE(setsEqual(readSet(serialized(*set)), set));
                }
            }
        });
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
    EXPECT_TRUE(setsEqual(readSet(serialized(*set)), set));
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
// slash (which come back with one) survive writing and reading, also through a saved file and
// through a set the factory made.
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
    EXPECT_TRUE(setsEqual(readSet(serialized(*set)), set));

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

    // x comes back as /x; when both are written, the later element (that of x) wins.
    putInt(*set, "x", 1);
    EXPECT_EQ(1, valueAt<int32_t>(*readSet(serialized(*set)), "/x"));
    putInt(*set, "/x", 2);
    EXPECT_EQ(1, valueAt<int32_t>(*readSet(serialized(*set)), "/x"));
}

TEST(XMLWriterDifferential, WritesWhatTheDomSerializerWritesForRandomSets) {
    underLocale("C.UTF-8", [] {
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
    });
}
