// The library's SAX2 reader and DOM-free writer against the DOM oracles they replaced: the same
// outcome, byte for byte, over many generated documents and sets.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "ReadComparison.h"
#include "WriterComparison.h"
#include "XMLTestSupport.h"

namespace {

// Makes documents of the format's shape with everything a hand-edited or hostile document may
// add: comments, CDATA sections, processing instructions, character and entity references
// (declared in an internal DTD, some holding markup), mixed content, elements inside settings,
// prefixed names, repeated keys, other roots and encodings, bad values, and damaged bytes.
class DocumentMaker {
  public:
    explicit DocumentMaker(unsigned seed) : d_random(seed) {}

    std::string document() {
        std::string text = pick({"", "<?xml version=\"1.0\"?>",
                                 "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>",
                                 "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>",
                                 "<?xml version=\"1.0\" encoding=\"US-ASCII\"?>",
                                 "<?xml version=\"1.1\"?>", "<?xml version=\"1.5\"?>"});
        text +=
            pick({"", "", "", "<!DOCTYPE configuration>", "<!DOCTYPE a:b:c>", "<!DOCTYPE :x []>"});
        if (!chance(3) && text.find("DOCTYPE") == std::string::npos) {
            text +=
                "<!DOCTYPE configuration [<!ENTITY t \"5\"><!ENTITY e \"\">"
                "<!ENTITY m \"<setting name='m' type='int32'>7</setting>\">"
                "<!ENTITY c \"x<!--c-->y\"><!ATTLIST setting type CDATA 'int32'>"
                "<!ELEMENT b (setting)*>]>";
        }
        text += pick({"\n", "<!--lead-->", "<?pi lead?>", ""});
        const std::string root =
            pick({"configuration", "configuration", "configuration", "other", "p:configuration"});
        text += "<" + root + ">" + content(0) + "</" + root + ">";
        if (chance(10)) {  // UTF-16 with a byte order mark, every byte widened
            std::string wide = "\xff\xfe";
            for (const char byte : "<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + text) {
                wide += std::string{byte, '\0'};
            }
            text = wide.substr(0, wide.size() - 2);
        }
        if (chance(3)) {
            damage(text);
        }
        return text;
    }

  private:
    bool chance(unsigned in) { return d_random() % in == 0; }

    std::string pick(const std::vector<std::string>& choices) {
        return choices[d_random() % choices.size()];
    }

    // Between elements: nothing a reader of the format looks at.
    std::string filler() {
        return pick({"", "", "\n  ", "text", "<!--note-->", "<?pi data?>", "<![CDATA[x]]>", "&t;",
                     "&#65;", "&amp;", "&m;", "&c;"});
    }

    std::string content(int depth) {
        std::string text = filler();
        const unsigned count = d_random() % 4;
        for (unsigned item = 0; item < count; ++item) {
            if (depth < 3 && chance(3)) {
                const std::string name = pick({"a", "b", "p:a", "configuration", "ab"});
                text += "<" + name + pick({"", " x=\"1\""}) + ">" + content(depth + 1) + "</" +
                        name + ">";
            } else {
                text += setting();
            }
            text += filler();
        }
        return text;
    }

    std::string setting() {
        static const std::vector<std::vector<std::string>> valuesByType = {
            {"int32", "5", " 42 ", "-1", "4294967296", "abc", "7x", "1&#48;", "&t;"},
            {"uchar", "300", "-5"},
            {"bool", "true", "false", "1", "tr&#117;e"},
            {"double", "2.5", "inf", "1e400"},
            {"string", "hello", "a&amp;b&lt;", "&#x1F600;z", "\xc3\xa9t\xc3\xa9", "  "},
            {"unicodeString", "w&#xE9;", "a\xf0\x9f\x98\x80"},
            {"binary", "AAEC", " AA\n EC ", "A!==", "  "},
            {"Int32", "1"},
        };
        const std::vector<std::string>& values = valuesByType[d_random() % valuesByType.size()];
        std::string attributes =
            pick({" name=\"x\"", " name=\"y\"", " name=\"x\"", ""}) + pick({" id=\"1\"", "", ""});
        if (!chance(8)) {
            attributes += " type=\"" + values[0] + "\"";
        }
        std::string value = values[1 + d_random() % (values.size() - 1)];
        value.insert(d_random() % (value.size() + 1), filler());
        if (chance(4)) {
            value = pick({"<![CDATA[1]]>", "<!---->", "<x>1</x>", "<?p?>"}) + value;
        }
        if (chance(4)) {
            value += pick({"<x/>", "<setting name=\"in\" type=\"int32\">1</setting>", "9"});
        }
        return chance(10) ? "<setting" + attributes + "/>"
                          : "<setting" + attributes + ">" + value + "</setting>";
    }

    // Erases a few bytes, inserts one, or truncates.
    void damage(std::string& text) {
        const size_t at = d_random() % text.size();
        const unsigned how = d_random() % 3;
        if (how == 0) {
            text.erase(at, 1 + d_random() % 3);
        } else if (how == 1) {
            text.insert(at, 1, "<>&\"'/=\xe9\x80 "[d_random() % 10]);
        } else {
            text.resize(at);
        }
    }

    std::mt19937 d_random;
};

}  // namespace

TEST(XMLReaderDifferential, TheSaxReaderAgreesWithTheDomReaderOnGeneratedDocuments) {
    DocumentMaker maker(20261123);
    size_t read = 0;
    for (int round = 0; round < 3000; ++round) {
        const std::string document = maker.document();
        bool bothRead = false;
        const std::string difference = oracle::differenceBetweenReaders(
            reinterpret_cast<const unsigned char*>(document.data()), document.size(), &bothRead);
        ASSERT_EQ("", difference) << document;
        read += bothRead ? 1 : 0;
    }
    // Both outcomes are well represented.
    EXPECT_GT(read, 150u);
    EXPECT_LT(read, 2700u);
}

TEST(XMLWriterDifferential, WritesWhatTheDomSerializerWritesForRandomSets) {
    xmltest::ScopedLocale locale("C.UTF-8");
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
    auto set = xmltest::newXmlSet();
    set->insertSetting("a/blob", xmltest::makeBinarySetting(std::vector<unsigned char>(100000, 7)));
    EXPECT_EQ("", oracle::writerDifference(*set));
}
