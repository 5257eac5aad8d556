// Both forms: detection, forcing, conversion both ways, refusing what XML cannot hold, in-place
// XML edits and check.
#include <array>
#include <cstdio>
#include <sstream>

#include "OrvconfFixture.h"

namespace {

class FormatsTest : public OrvconfTest {};

bool isXml(const std::string& name) {
    return readFile(name).rfind("<?xml", 0) == 0;
}

TEST_F(FormatsTest, ConversionBothWaysKeepsEverySettingAndToOverridesTheExtension) {
    // The XML form of every type is the library's; here the form is chosen and kept.
    // clang-format off
    const std::vector<std::array<std::string, 3>> values = {
        {"/top", "bool", "true"}, {"n/uint64", "uint64", "18446744073709551615"},
        {"n/int64", "int64", "-9223372036854775808"}, {"f/tiny", "double", "5e-324"},
        {"f/float", "float", "0.1"}, {"s/deep/er/text", "string", "plain <&> text"},
        {"s/wide", "unicodeString", "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"},
        {"b/bin", "binary", "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygp"}};
    // clang-format on
    for (const auto& [path, type, value] : values) {
        set("all.cfg", path, type, value);
    }
    expectSuccess(orvconf({"convert", "all.cfg", "all.xml"}));
    EXPECT_TRUE(isXml("all.xml"));
    expectOutput({"diff", "all.cfg", "all.xml"}, "");
    expectSuccess(orvconf({"convert", "all.xml", "back.cfg"}));
    EXPECT_EQ(readFile("back.cfg"), readFile("all.cfg"));

    expectSuccess(orvconf({"convert", "all.cfg", "x.data", "--to", "xml"}));
    EXPECT_TRUE(isXml("x.data"));
    expectSuccess(orvconf({"convert", "x.data", "y.xml", "--to=binary"}));
    EXPECT_EQ(readFile("y.xml"), readFile("all.cfg"));
}

// An XML file stays XML when edited, under any name; --format forces a form.
TEST_F(FormatsTest, AnXmlFileIsDetectedUnderAnyNameAndFormatForcesTheForm) {
    set("c.xml", "a/b/c", "string", "deep");
    ASSERT_EQ(std::rename("c.xml", "noext"), 0);
    set("noext", "a/c", "int32", "6");
    EXPECT_TRUE(isXml("noext"));
    expectOutput({"print", "noext"}, "a/b/c (string) = \"deep\"\na/c (int32) = 6\n");

    set("c.cfg", "a/b", "int32", "5");
    expectFailure(orvconf({"print", "--format", "xml", "c.cfg"}), {"c.cfg", "XML"});
    expectFailure(orvconf({"print", "--format=binary", "noext"}), {"noext", "binary"});
    expectSuccess(orvconf({"set", "--format", "xml", "new.cfg", "a/b", "int32", "5"}));
    EXPECT_TRUE(isXml("new.cfg"));

    writeFile("broken.xml", "<?xml version=\"1.0\"?><configuration><setting name=\"x\"");
    expectFailure(orvconf({"print", "broken.xml"}), {"broken.xml", "XML"});

    // A path without "/" would read back as "/x", an empty value not at all, "1a" is no element
    // name: what XML cannot hold is refused and nothing written.
    ASSERT_EQ(std::rename("noext", "c.xml"), 0);
    const std::string before = readFile("c.xml");
    expectFailure(orvconf({"set", "c.xml", "x", "int32", "1"}), {"c.xml", "'x'"});
    expectFailure(orvconf({"set", "c.xml", "a/s", "string", ""}), {"c.xml", "a/s"});
    expectFailure(orvconf({"set", "c.xml", "a/d", "double", "inf"}), {"a/d"});
    expectFailure(orvconf({"set", "c.xml", "1a/b", "int32", "1"}), {"1a/b"});
    EXPECT_EQ(readFile("c.xml"), before);
    set("plain.cfg", "x", "int32", "1");
    expectFailure(orvconf({"convert", "plain.cfg", "out.xml"}), {"out.xml", "'x'"});
    EXPECT_EQ(listing(), "broken.xml\nc.cfg\nc.xml\nnew.cfg\nplain.cfg\n");
}

// As a person writes it: comments, a processing instruction, four-space indentation, settings
// out of path order.
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

// Each edit changes only the lines of its setting, byte for byte.
TEST_F(FormatsTest, XmlEditsChangeOnlyTheLinesOfTheSetting) {
    const std::string tls = "            <setting name='tls' type='bool'>true</setting>\n";
    const std::string http = "        <http>\n" + tls + "        </http>\n";
    const std::string port = "<setting name=\"port\" type=\"uint16\">8080</setting>";
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
        {{"remove", "server/http/tls"}, replaced(kHandWritten, http, "")},
        {{"remove", "/name"},
         replaced(kHandWritten, "    <setting name=\"name\" type=\"string\">demo</setting>\n", "")},
        // The branch keeps what is not a setting: the comment and the processing instruction.
        {{"remove", "--recursive", "server"},
         replaced(replaced(kHandWritten, port, ""), http, "")}};
    for (auto [arguments, expected] : cases) {
        SCOPED_TRACE(arguments[1]);
        writeFile("hand.xml", kHandWritten);
        arguments.insert(arguments.begin() + 1, "hand.xml");
        expectSuccess(orvconf(arguments));
        EXPECT_EQ(readFile("hand.xml"), expected);
    }
    writeFile("e.xml", "<configuration/>");  // into an empty root, indented by two spaces
    set("e.xml", "a/b", "int32", "1");
    EXPECT_EQ(readFile("e.xml"),
              "<configuration>\n  <a>\n    <setting name=\"b\" type=\"int32\">1</setting>\n  "
              "</a>\n</configuration>");
}

// check reports, at line and column, what reads other than it shows.
TEST_F(FormatsTest, CheckReportsWhatReadsOtherThanItShowsWithLineAndColumn) {
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
    const ProgramResult result = orvconf({"check", "c.xml"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    const std::vector<std::vector<std::string>> lines = {
        {"c.xml:3:40: path 'a/port': ", "70000", "4464"},
        {"c.xml:4:36: path 'a/n': ", "42abc", "42"},
        {"c.xml:5:36: path 'a/g': ", "1,000", "as 1 ("},
        {"c.xml:6:5: path 'a/s': ", "7"},
        {"c.xml:8:36: path 'a/v': ", "ignored"},
        {"c.xml:11:3: path '/b/c': "}};
    std::istringstream output(result.out);
    for (const auto& words : lines) {
        std::string line;
        std::getline(output, line);
        for (const std::string& word : words) {
            EXPECT_TRUE(contains(line + "\n", word));
        }
    }
    EXPECT_EQ(output.peek(), EOF) << result.out;

    // A clean file, a binary one, and a bool the library cannot read at all.
    writeFile("hand.xml", kHandWritten);
    expectOutput({"check", "hand.xml"}, "");
    set("b.cfg", "x", "int32", "1");
    expectOutput({"check", "b.cfg"}, "");
    writeFile("t.xml",
              "<configuration><setting name='t' type='bool'>True</setting></configuration>");
    const ProgramResult unreadable = orvconf({"check", "t.xml"});
    EXPECT_EQ(unreadable.status, 1);
    EXPECT_EQ(unreadable.out.rfind("t.xml:1:", 0), 0u) << unreadable.out;
    if (shell("command -v xmllint").status == 0) {  // the installed schema takes it, not int8
        const auto valid = [](const std::string& name) {
            return runProgram({"xmllint", "--noout", "--schema", ORVCONF_INSTALLED_SCHEMA, name})
                       .status == 0;
        };
        EXPECT_TRUE(valid("hand.xml"));
        writeFile("t.xml",
                  "<configuration><a><setting name='t' type='int8'>1</setting></a>"
                  "</configuration>");
        EXPECT_FALSE(valid("t.xml"));
    }
}

}  // namespace
