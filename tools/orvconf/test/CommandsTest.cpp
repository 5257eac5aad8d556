// The commands of the installed orvconf: values, listing and comparing, mistakes, the JSON form.
#include <array>
#include <tuple>

#include "OrvconfFixture.h"

using namespace std::string_literals;

namespace {

// Values as set reads them and print and get show them ({type, value, shown}, stored under "t/10",
// "t/11"...); JSON export and import carry them exactly.
TEST_F(OrvconfTest, EveryTypeIsShownAndCarriedExactly) {
    // clang-format off
    const std::vector<std::array<std::string, 3>> values = {
        {"binary", " AP8\r\nQ\t\n", "AP8Q"}, {"double", "-nan", "-nan"},
        {"double", "0.30000000000000004", "0.30000000000000004"}, {"float", "16777217", "16777216"},
        {"int64", "-9223372036854775808", "-9223372036854775808"},
        {"string", "tab\there \"q\" \\ \x01 h\xc3\xa9 \xff\xc3\x7f",
                   "\"tab\\there \\\"q\\\" \\\\ \\x01 h\xc3\xa9 \\xFF\\xC3\\x7F\""},
        {"uint64", "9007199254740993", "9007199254740993"},
        {"unicodeString", "\xe2\x82\xac \xf0\x9f\x98\x80", "\"\xe2\x82\xac \xf0\x9f\x98\x80\""}};
    // clang-format on
    std::string printed;
    for (size_t row = values.size(); row-- > 0;) {
        const std::string path = "t/" + std::to_string(row + 10);
        set("all.cfg", path, values[row][0], values[row][1]);
        printed = path + " (" + values[row][0] + ") = " + values[row][2] + "\n" + printed;
    }
    set("all.cfg", "\xfe/p\nq", "int32", "1");
    expectOutput({"print", "all.cfg"}, printed + "\\xFE/p\\nq (int32) = 1\n");
    expectOutput({"get", "all.cfg", "t/15"}, values[5][1] + "\n");
    expectOutput({"get", "--raw", "all.cfg", "t/10"}, "\0\xff\x10"s);
    expectFailure(orvconf({"get", "all.cfg", "no/path"}), {"all.cfg", "no/path", "no such"}, 1);
    expectResult(shell("\"$ORVCONF\" export --to json all.cfg | \"$ORVCONF\" import back.cfg"));
    EXPECT_EQ(readFile("back.cfg"), readFile("all.cfg"));
    // A setting of another type is replaced only when told; "-7" is a value, not an option.
    expectFailure(orvconf({"set", "all.cfg", "t/14", "int32", "-7"}), {"int64", "--retype"});
    expectResult(shell("echo -7 | \"$ORVCONF\" set --retype --value-file - all.cfg t/14 int32"));
    expectOutput({"get", "all.cfg", "t/14"}, "-7\n");
}

// list and remove work by whole path segments; diff lists changes one a line, exits as diff does,
// takes nan as equal to itself and tells 0 from -0 and one type from another.
TEST_F(OrvconfTest, ListRemoveAndDiff) {
    writeFile("l.json", R"([{"path": "a", "type": "bool", "value": true},
  {"path": "a/b", "type": "bool", "value": true}, {"path": "a/c", "type": "bool", "value": true},
  {"path": "ab", "type": "bool", "value": true}, {"path": "n", "type": "double", "value": "nan"},
  {"path": "t", "type": "int32", "value": 1}, {"path": "z", "type": "float", "value": 0}])");
    expectResult(shell("\"$ORVCONF\" import old.cfg l.json && cp old.cfg l.cfg"));
    expectOutput({"list", "l.cfg", "a"}, "a\na/b\na/c\n");
    expectOutput({"list", "--json", "l.cfg", "a/b/"}, "[]\n", 1);
    expectOutput({"remove", "l.cfg", "a/b"});
    expectOutput({"list", "l.cfg", "a"}, "a\na/c\n");
    expectOutput({"remove", "--recursive", "l.cfg", "a"});
    expectFailure(orvconf({"remove", "--recursive", "l.cfg", "a"}), {"l.cfg", "'a'"});
    expectOutput({"list", "l.cfg"}, "ab\nn\nt\nz\n");
    expectOutput({"set", "--retype", "l.cfg", "t", "uint32", "1"});
    set("l.cfg", "z", "float", "-0");
    set("l.cfg", "new", "binary", "AA==");
    expectOutput({"diff", "old.cfg", "old.cfg"});
    expectOutput(
        {"diff", "old.cfg", "l.cfg"},
        "removed: a (bool) = true\nremoved: a/b (bool) = true\nremoved: a/c (bool) = true\n"
        "added: new (binary) = AA==\nchanged: t (int32) = 1 -> (uint32) = 1\n"
        "changed: z (float) = 0 -> (float) = -0\n",
        1);
}

// Mistakes, unreadable files and refused values end with one located line and change nothing:
// an unreadable file gets the reason of the form it looks like; a value must be all its type.
TEST_F(OrvconfTest, MistakesAreReportedOnOneLineAndChangeNothing) {
    writeFile("empty.cfg", "");  // an empty set
    writeFile("junk.cfg", "this is not a configuration");
    writeFile("short.cfg", "\x05\0\0\0\0\0\0\0ab"s);
    writeFile("bad.xml", "<configuration>\n  <group>\n    <group size=>\n</configuration>\n");
    writeFile("long.txt", std::string(200000, '9'));
    // clang-format off
    std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> cases = {
        {{}, {"no command"}}, {{"frobnicate"}, {"frobnicate"}}, {{"print"}, {"print", "arguments"}},
        {{"get", "f", "p", "extra"}, {"get", "arguments"}}, {{"print", "--bogus", "f"}, {"bogus"}},
        {{"diff", "-", "-"}, {"standard input"}}, {{"print", "--format", "yaml", "f"}, {"yaml"}},
        {{"set", "-", "p", "int32", "1"}, {"standard input"}},
        {{"remove", "none.cfg", "p"}, {"none.cfg", "no such file"}},
        {{"diff", "empty.cfg", "short.cfg"}, {"short.cfg"}}, {{"print", "bad.xml"}, {"bad.xml:3:"}},
        {{"print", "junk.cfg"}, {"junk.cfg", "binary", "byte 8"}},
        {{"set", "--value-file", "long.txt", "empty.cfg", "n", "int32"}, {"200000 bytes"}}};
    const std::vector<std::tuple<std::string, std::string, std::vector<std::string>>> values = {
        {"uchar", "out of range", {"256"}}, {"uint64", "malformed", {"-0"}},
        {"int64", "out of range", {"-9223372036854775809"}}, {"Bool", "bool", {"true"}},
        {"int32", "", {"", " 1", "1 ", "+1", "1x", "0x10", "1,000", "1.5"}},
        {"float", "out of range", {"-3.5e38", "1e-50"}}, {"double", "", {"1e", "0x10"}},
        {"bool", "true or false", {"1", "True"}},
        {"binary", "Base64", {"A", "AA=A", "====", "AA==AA==", "AB==", "AA A"}},
        {"unicodeString", "UTF-8", {"\xff", "\xc3", "\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80"}}};
    // clang-format on
    for (const auto& [type, reason, texts] : values) {
        for (const std::string& text : texts) {
            cases.push_back({{"set", "empty.cfg", "the/path", type, text},
                             {"empty.cfg", "the/path", type, reason}});
        }
    }
    for (const auto& [arguments, words] : cases) {
        SCOPED_TRACE(arguments.empty() ? "" : arguments[0] + " " + arguments.back());
        const ProgramResult result = orvconf(arguments);
        expectFailure(result, words);
        EXPECT_LT(result.err.size(), 300u);  // a long value is quoted only in part
    }
    EXPECT_FALSE(contains(orvconf({"print", "junk.cfg"}).err, "XML"));
    EXPECT_FALSE(contains(orvconf({"print", "bad.xml"}).err, "binary"));
    EXPECT_EQ(readFile("empty.cfg"), "");
    EXPECT_EQ(listing(), "bad.xml\nempty.cfg\njunk.cfg\nlong.txt\nshort.cfg\n");
}

// The JSON form, which holds any wide string, is written exactly by export and diff --json;
// import refuses a malformed document, naming the source and writing nothing.
TEST_F(OrvconfTest, TheJsonFormIsExactAndMalformedDocumentsAreRefused) {
    const std::string expected = R"([
  {"path": "a/big", "type": "uint64", "value": "18446744073709551615"},
  {"path": "a/bin", "type": "binary", "value": "AAEC"},
  {"path": "a/bool", "type": "bool", "value": true},
  {"path": "a/float", "type": "float", "value": 0.1},
  {"path": "a/nan", "type": "double", "value": "nan"},
  {"path": "a/neg", "type": "char", "value": -5},
  {"path": "a/odd", "type": "unicodeString", "value": {"codePoints": [55296, 1114112, 65]}},
  {"path": "a/text", "type": "string", "value": "quote \" back \\ nl \u000A ctl \u0001"},
  {"path": "a/wide", "type": "unicodeString", "value": "😀"},
  {"path": {"base64": "YS//"}, "type": "string", "value": {"base64": "YmFkIP8="}}
]
)";
    writeFile("j.json", expected);
    expectOutput({"import", "j.cfg", "j.json"});
    expectOutput({"export", "j.cfg"}, expected);
    set("k.cfg", "a/neg", "int32", "-5");
    const ProgramResult diff = orvconf({"diff", "--json", "j.cfg", "k.cfg"});
    EXPECT_EQ(diff.status, 1);
    EXPECT_TRUE(contains(diff.out,
                         R"({"change": "changed", "path": "a/neg", "before": {"type": )"
                         R"("char", "value": -5}, "after": {"type": "int32", "value": -5}})"));
    for (const std::string& json : std::vector<std::string>{
             R"({})", R"([{"path": "x", "type": "int8", "value": 1}])", R"([] x)",
             R"([{"path": "x", "type": "uchar", "value": 256}])", std::string(100000, '[')}) {
        writeFile("bad.json", json);
        expectFailure(orvconf({"import", "bad.cfg", "bad.json"}), {"bad.json"});
    }
    EXPECT_EQ(listing(), "bad.json\nj.cfg\nj.json\nk.cfg\n");
}

}  // namespace
