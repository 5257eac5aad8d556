// Both forms: detection, forcing, conversion both ways, and refusing what XML cannot hold.
#include <sstream>
#include <string>

#include "OrvconfFixture.h"

namespace {

class FormatsTest : public OrvconfTest {
  protected:
    // Settings of every type under paths and values that the XML form holds.
    void fillEveryType(const std::string& name) const {
        set(name, "/top", "bool", "true");
        set(name, "n/uchar", "uchar", "200");
        set(name, "n/uint16", "uint16", "65535");
        set(name, "n/uint32", "uint32", "4294967295");
        set(name, "n/uint64", "uint64", "18446744073709551615");
        set(name, "n/char", "char", "-128");
        set(name, "n/int16", "int16", "-32768");
        set(name, "n/int32", "int32", "-2147483648");
        set(name, "n/int64", "int64", "-9223372036854775808");
        set(name, "f/float", "float", "0.1");
        set(name, "f/double", "double", "-1.0000000000000002");
        set(name, "f/tiny", "double", "5e-324");
        set(name, "s/deep/er/text", "string", "plain <&> text");
        set(name, "s/wide", "unicodeString", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
        set(name, "b/bin", "binary", "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygp");
    }
};

TEST_F(FormatsTest, ConversionToXmlAndBackPreservesEverySettingAndToOverridesTheExtension) {
    fillEveryType("all.cfg");
    expectSuccess(orvconf({"convert", file("all.cfg"), file("all.xml")}));
    EXPECT_EQ(readFile("all.xml").rfind("<?xml", 0), 0u);
    EXPECT_EQ(orvconf({"diff", file("all.cfg"), file("all.xml")}).status, 0);
    expectSuccess(orvconf({"convert", file("all.xml"), file("back.cfg")}));
    EXPECT_EQ(readFile("back.cfg"), readFile("all.cfg"));
    EXPECT_EQ(orvconf({"print", file("all.xml")}).out, orvconf({"print", file("all.cfg")}).out);

    // --to overrides the extension.
    expectSuccess(orvconf({"convert", file("all.cfg"), file("x.data"), "--to", "xml"}));
    EXPECT_EQ(readFile("x.data").rfind("<?xml", 0), 0u);
    expectSuccess(orvconf({"convert", file("x.data"), file("y.xml"), "--to=binary"}));
    EXPECT_EQ(readFile("y.xml"), readFile("all.cfg"));
}

TEST_F(FormatsTest, EditingAnXmlFileKeepsItXmlUnderAnyName) {
    set("c.xml", "/x", "int32", "5");
    EXPECT_EQ(readFile("c.xml").rfind("<?xml", 0), 0u);
    set("c.xml", "a/b/c", "string", "deep");
    expectSuccess(orvconf({"remove", file("c.xml"), "/x"}));
    EXPECT_EQ(readFile("c.xml").rfind("<?xml", 0), 0u);
    EXPECT_EQ(orvconf({"print", file("c.xml")}).out, "a/b/c (string) = \"deep\"\n");
    EXPECT_EQ(orvconf({"get", file("c.xml"), "a/b/c"}).out, "deep\n");
    EXPECT_EQ(orvconf({"list", file("c.xml"), "a/"}).out, "a/b/c\n");

    // An XML file under any name is detected.
    ASSERT_EQ(::rename(file("c.xml").c_str(), file("noext").c_str()), 0);
    set("noext", "a/c", "int32", "6");
    EXPECT_EQ(readFile("noext").rfind("<?xml", 0), 0u);
    EXPECT_EQ(orvconf({"print", file("noext")}).out,
              "a/b/c (string) = \"deep\"\na/c (int32) = 6\n");
}

TEST_F(FormatsTest, FormatOptionForcesTheFormAndAMalformedXmlFileIsNamed) {
    set("c.cfg", "a/b", "int32", "5");
    set("c.xml", "a/b", "int32", "5");
    expectFailure(orvconf({"print", "--format", "xml", file("c.cfg")}), {file("c.cfg"), "XML"});
    expectFailure(orvconf({"print", "--format=binary", file("c.xml")}), {file("c.xml"), "binary"});
    expectSuccess(orvconf({"print", "--format", "xml", file("c.xml")}));
    expectSuccess(orvconf({"set", "--format", "xml", file("new.cfg"), "a/b", "int32", "5"}));
    EXPECT_EQ(readFile("new.cfg").rfind("<?xml", 0), 0u);

    writeFile("broken.xml", "<?xml version=\"1.0\"?><configuration><setting name=\"x\"");
    expectFailure(orvconf({"print", file("broken.xml")}), {file("broken.xml"), "XML"});
    writeFile("typo.xml",
              "<?xml version=\"1.0\"?><configuration><setting name=\"x\" "
              "type=\"int33\">1</setting></configuration>");
    expectFailure(orvconf({"print", file("typo.xml")}), {file("typo.xml")});
}

TEST_F(FormatsTest, WhatXmlCannotHoldIsRefusedAndNothingWritten) {
    set("c.xml", "a/b", "int32", "5");
    const std::string before = readFile("c.xml");
    // Without a "/" the path would read back as "/x"; empty values do not read back at all;
    // "1a" is not an element name.
    expectFailure(orvconf({"set", file("c.xml"), "x", "int32", "1"}), {file("c.xml"), "'x'"});
    expectFailure(orvconf({"set", file("c.xml"), "a/s", "string", ""}), {file("c.xml"), "a/s"});
    expectFailure(orvconf({"set", file("c.xml"), "a/d", "double", "inf"}), {"a/d"});
    expectFailure(orvconf({"set", file("c.xml"), "1a/b", "int32", "1"}), {"1a/b"});
    EXPECT_EQ(readFile("c.xml"), before);
    EXPECT_EQ(directoryEntries(""), std::vector<std::string>{"c.xml"});

    set("plain.cfg", "x", "int32", "1");
    expectFailure(orvconf({"convert", file("plain.cfg"), file("out.xml")}),
                  {file("out.xml"), "'x'"});
    EXPECT_EQ(directoryEntries(""), (std::vector<std::string>{"c.xml", "plain.cfg"}));
}

// A document as a person writes it: comments, a processing instruction, four-space indentation,
// settings out of path order.
const std::string kHandWritten =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!-- hand-made -->\n"
    "<configuration>\n"
    "    <server>\n"
    "        <?editor keep?>\n"
    "        <setting name=\"port\" type=\"uint16\">8080</setting> <!-- the port -->\n"
    "        <http>\n"
    "            <setting name='tls' type='bool'>true</setting>\n"
    "        </http>\n"
    "    </server>\n"
    "    <setting name=\"name\" type=\"string\">demo</setting>\n"
    "</configuration>\n";

class XmlEditTest : public OrvconfTest {};

TEST_F(XmlEditTest, EditsChangeOnlyTheLinesOfTheSetting) {
    const std::string tls = "            <setting name='tls' type='bool'>true</setting>\n";
    const std::string port = "<setting name=\"port\" type=\"uint16\">8080</setting>";
    const std::string name = "    <setting name=\"name\" type=\"string\">demo</setting>\n";
    const auto replaced = [](std::string text, const std::string& from, const std::string& to) {
        return text.replace(text.find(from), from.size(), to);
    };
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"set", "server/http/tls", "bool", "false"},
         replaced(kHandWritten, tls,
                  "            <setting name=\"tls\" type=\"bool\">false</setting>\n")},
        {{"set", "server/port", "uint16", "1"},
         replaced(kHandWritten, port, "<setting name=\"port\" type=\"uint16\">1</setting>")},
        {{"set", "server/db/host", "string", "h<"},
         replaced(kHandWritten, "        </http>\n",
                  "        </http>\n        <db>\n            <setting name=\"host\" "
                  "type=\"string\">h&lt;</setting>\n        </db>\n")},
        {{"set", "/top", "int32", "5"},
         replaced(kHandWritten, "</configuration>",
                  "    <setting name=\"top\" type=\"int32\">5</setting>\n</configuration>")},
        {{"remove", "server/http/tls"},
         replaced(kHandWritten, "        <http>\n" + tls + "        </http>\n", "")},
        {{"remove", "/name"}, replaced(kHandWritten, name, "")},
        // The branch keeps what is not a setting: the comment and the processing instruction.
        {{"remove", "--recursive", "server"},
         replaced(replaced(kHandWritten, port, ""), "        <http>\n" + tls + "        </http>\n",
                  "")},
    };
    for (const auto& [arguments, expected] : cases) {
        SCOPED_TRACE(arguments[1]);
        writeFile("hand.xml", kHandWritten);
        std::vector<std::string> command = {arguments[0], file("hand.xml")};
        command.insert(command.end(), arguments.begin() + 1, arguments.end());
        expectSuccess(orvconf(command));
        EXPECT_EQ(readFile("hand.xml"), expected);
    }
    // Into an empty root, with the indentation of two spaces.
    writeFile("e.xml", "<configuration/>");
    set("e.xml", "a/b", "int32", "1");
    EXPECT_EQ(readFile("e.xml"),
              "<configuration>\n  <a>\n    <setting name=\"b\" type=\"int32\">1</setting>\n  "
              "</a>\n</configuration>");
}

TEST_F(XmlEditTest, CheckReportsWhatReadsOtherThanItShowsWithLineAndColumn) {
    writeFile("c.xml",
              "<configuration>\n"
              "  <a>\n"
              "    <setting name=\"port\" type=\"uint16\">70000</setting>\n"
              "    <setting name=\"n\" type=\"int32\">42abc</setting>\n"
              "    <setting name=\"g\" type=\"int32\"> 1,000</setting>\n"
              "    <setting name=\"s\" type=\"string\">first</setting>\n"
              "    <setting name=\"s\" type=\"string\">later</setting>\n"
              "    <setting name=\"v\" type=\"int32\">5<!-- c -->6</setting>\n"
              "    <setting name=\"ok\" type=\"int32\"> 12 <!-- fine --></setting>\n"
              "  </a>\n"
              "  <setting name=\"b/c\" type=\"int32\">1</setting>\n"
              "</configuration>\n");
    const ProgramResult result = orvconf({"check", file("c.xml")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    const std::string at = file("c.xml") + ":";
    const std::vector<std::vector<std::string>> lines = {
        {at + "3:40: path 'a/port': ", "70000", "4464"}, {at + "4:36: path 'a/n': ", "42abc", "42"},
        {at + "5:36: path 'a/g': ", "1,000", "as 1 ("},  {at + "6:5: path 'a/s': ", "7"},
        {at + "8:36: path 'a/v': ", "ignored"},          {at + "11:3: path '/b/c': "}};
    std::istringstream output(result.out);
    for (const auto& words : lines) {
        std::string line;
        std::getline(output, line);
        line += "\n";
        for (const std::string& word : words) {
            EXPECT_NE(line.find(word), std::string::npos) << word << " in " << line;
        }
    }
    EXPECT_EQ(output.peek(), EOF) << result.out;

    // A clean file, a binary one, and a bool the library cannot read at all.
    writeFile("hand.xml", kHandWritten);
    expectSuccess(orvconf({"check", file("hand.xml")}));
    set("b.cfg", "x", "int32", "1");
    expectSuccess(orvconf({"check", file("b.cfg")}));
    if (programExists("xmllint")) {  // the installed schema accepts it, and not a bad type
        const auto valid = [&](const std::string& name) {
            return runProgram(
                       {"xmllint", "--noout", "--schema", ORVCONF_INSTALLED_SCHEMA, file(name)})
                       .status == 0;
        };
        EXPECT_TRUE(valid("hand.xml"));
        writeFile("t.xml",
                  "<configuration><a><setting name='t' type='int8'>1</setting></a>"
                  "</configuration>");
        EXPECT_FALSE(valid("t.xml"));
    }
    writeFile("t.xml",
              "<configuration><setting name='t' type='bool'>True</setting></configuration>");
    const ProgramResult unreadable = orvconf({"check", file("t.xml")});
    EXPECT_EQ(unreadable.status, 1);
    EXPECT_EQ(unreadable.out.rfind(file("t.xml") + ":1:", 0), 0u) << unreadable.out;
}

}  // namespace
