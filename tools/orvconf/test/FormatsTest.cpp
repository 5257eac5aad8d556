// Both forms: detection, forcing, conversion, what XML cannot hold, in-place XML edits and check.
#include <algorithm>

#include "OrvconfFixture.h"

namespace {

bool isXml(const std::string& name) {
    return readFile(name).rfind("<?xml", 0) == 0;
}

// Conversion keeps every setting and --to overrides the extension; an XML file stays XML when
// edited under any name; --format forces a form; what XML cannot hold is refused.
TEST_F(OrvconfTest, ConversionDetectionAndForcingKeepTheForm) {
    set("all.cfg", "s/deep/er/text", "string", "plain <&> text");
    set("all.cfg", "b/bin", "binary", "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygp");
    expectOutput({"convert", "all.cfg", "x.data", "--to", "xml"});
    EXPECT_TRUE(isXml("x.data"));
    expectOutput({"convert", "x.data", "y.xml", "--to=binary"});
    EXPECT_EQ(readFile("y.xml"), readFile("all.cfg"));
    std::filesystem::rename("x.data", "noext");
    set("noext", "a/c", "int32", "7");
    EXPECT_TRUE(isXml("noext"));
    expectFailure(orvconf({"print", "--format=xml", "all.cfg"}), {"all.cfg", "XML"});
    // "inf" would not read back, nor a path without "/" (as "/x"): nothing is written.
    const std::string before = readFile("noext");
    expectFailure(orvconf({"set", "noext", "a/d", "double", "inf"}), {"a/d"});
    EXPECT_EQ(readFile("noext"), before);
    set("all.cfg", "x", "int32", "1");
    expectFailure(orvconf({"convert", "all.cfg", "out.xml"}), {"out.xml", "'x'"});
    EXPECT_EQ(listing(), "all.cfg\nnoext\ny.xml\n");
}

// As a person writes it (comments, a processing instruction, four-space indentation), each edit
// changing only the lines of its setting, byte for byte.
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

TEST_F(OrvconfTest, XmlEditsChangeOnlyTheLinesOfTheSetting) {
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
        {{"set", "server/db/host", "string", "h<"},
         replaced(kHandWritten, "        </http>\n",
                  "        </http>\n        <db>\n            <setting name=\"host\" "
                  "type=\"string\">h&lt;</setting>\n        </db>\n")},
        {{"remove", "server/http/tls"}, replaced(kHandWritten, http, "")},
        // The branch keeps what is not a setting: the comment and the processing instruction.
        {{"remove", "--recursive", "server"},
         replaced(replaced(kHandWritten, port, ""), http, "")}};
    for (auto [arguments, expected] : cases) {
        SCOPED_TRACE(arguments[1]);
        writeFile("hand.xml", kHandWritten);
        arguments.insert(arguments.begin() + 1, "hand.xml");
        expectOutput(arguments);
        EXPECT_EQ(readFile("hand.xml"), expected);
    }
}

// check reports, at line and column, what reads other than it shows.
TEST_F(OrvconfTest, CheckReportsWhatReadsOtherThanItShowsWithLineAndColumn) {
    writeFile("c.xml",
              "<configuration>\n"
              "  <a>\n"
              "    <setting name=\"port\" type=\"uint16\">70000</setting>\n"
              "    <setting name=\"n\" type=\"int32\">42abc</setting>\n"
              "    <setting name=\"s\" type=\"string\">first</setting>\n"
              "    <setting name=\"s\" type=\"string\">later</setting>\n"
              "    <setting name=\"v\" type=\"int32\"> 5<!-- c -->6 </setting>\n"
              "  </a>\n"
              "  <setting name=\"b/c\" type=\"int32\">1</setting>\n"
              "</configuration>\n");
    const ProgramResult result = orvconf({"check", "c.xml"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    // clang-format off
    const std::vector<std::vector<std::string>> lines = {
        {"c.xml:3:40: path 'a/port'", "70000", "4464"}, {"c.xml:4:36: path 'a/n'", "42abc", "42"},
        {"c.xml:5:5: path 'a/s'", "6"}, {"c.xml:7:36: path 'a/v'", "ignored"},
        {"c.xml:9:3: path '/b/c'"}};
    // clang-format on
    for (const auto& words : lines) {
        for (const std::string& word : words) {
            EXPECT_TRUE(contains(result.out, word)) << word << " in " << result.out;
        }
    }
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 5) << result.out;
}

}  // namespace
