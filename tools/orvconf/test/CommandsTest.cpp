// Every command of the installed orvconf on binary files: values as set reads them, and the
// JSON form.
#include <array>

#include "OrvconfFixture.h"

using namespace std::string_literals;

namespace {

// A binary stream written by hand: "a" as uint16 0x1234, then "bc" as the string "hi".
const std::string kHandWrittenStream =
    "\x01\0\0\0\0\0\0\0a\x02\0\0\0\x34\x12\x02\0\0\0\0\0\0\0bc\x0b\0\0\0\x02\0\0\0\0\0\0\0hi"s;

class CommandsTest : public OrvconfTest {};

TEST_F(CommandsTest, HelpVersionManualAndCompletionCoverEveryCommand) {
    const ProgramResult help = orvconf({"--help"});
    expectSuccess(help);
    expectOutput({"-h"}, help.out);
    expectOutput({"help"}, help.out);
    const ProgramResult others =
        runProgram({"bash", "-c",
                    "source '" ORVCONF_INSTALLED_COMPLETION "'; COMP_WORDS=(orvconf ''); "
                    "COMP_CWORD=1; _orvconf; echo \" ${COMPREPLY[*]} \"; "
                    "cat '" ORVCONF_INSTALLED_MANUAL "'"});
    for (const std::string command : {"print", "get", "set", "remove", "list", "check", "convert",
                                      "diff", "export", "import", "help"}) {
        SCOPED_TRACE(command);
        EXPECT_TRUE(contains(help.out, "  " + command + " "));
        EXPECT_TRUE(contains(others.out, " " + command + " "));        // the completion
        EXPECT_TRUE(contains(others.out, "\\fB" + command + "\\fR"));  // the manual page
        const ProgramResult usage = orvconf({command, "--help"});
        expectSuccess(usage);
        EXPECT_EQ(usage.out.rfind("usage: orvconf " + command + " ", 0), 0u) << usage.out;
        expectOutput({command, "-h"}, usage.out);
        expectOutput({"help", command}, usage.out);
    }
    const ProgramResult version = orvconf({"--version"});
    expectSuccess(version);
    EXPECT_EQ(version.out.rfind("orvconf ", 0), 0u);
    EXPECT_TRUE(contains(version.out, " 1."));
}

// The binary form byte for byte; every type as set reads it, print and get show it, and JSON
// export and import carry it without loss.
TEST_F(CommandsTest, EveryTypeIsStoredShownAndCarriedExactly) {
    writeFile("hand.cfg", kHandWrittenStream);
    writeFile("empty.cfg", "");
    expectOutput({"print", "hand.cfg"}, "a (uint16) = 4660\nbc (string) = \"hi\"\n");
    expectOutput({"print", "empty.cfg"}, "");
    set("new.cfg", "bc", "string", "hi");
    set("new.cfg", "a", "uint16", "4660");
    EXPECT_EQ(readFile("new.cfg"), kHandWrittenStream);

    // {type, value, as print shows it}, stored under the paths "t/10", "t/11"... in row order.
    // clang-format off
    const std::vector<std::array<std::string, 3>> values = {
        {"binary", "AP8Q", "AP8Q"}, {"binary", "", ""}, {"binary", " AP8\r\nQ\t\n", "AP8Q"},
        {"binary", "/+8=", "/+8="}, {"bool", "true", "true"}, {"char", "-128", "-128"},
        {"char", "127", "127"}, {"double", "1e-300", "1e-300"}, {"double", "-0", "-0"},
        {"double", "nan", "nan"}, {"double", "-nan", "-nan"}, {"double", "-inf", "-inf"},
        {"double", "5e-324", "5e-324"}, {"double", "0.30000000000000004", "0.30000000000000004"},
        {"double", "123456789012345678901234567890", "1.2345678901234568e+29"},
        {"float", "0.1", "0.1"}, {"float", "16777217", "16777216"}, {"float", "1e-45", "1e-45"},
        {"float", "3.4028235e38", "3.4028235e+38"}, {"float", "-0", "-0"},
        {"int16", "-32768", "-32768"}, {"int32", "-2147483648", "-2147483648"},
        {"int32", "-0", "0"}, {"int64", "-9223372036854775808", "-9223372036854775808"},
        {"string", "tab\there \"q\" \\ \x01 h\xc3\xa9 \xff\xc3\x7f",
                   "\"tab\\there \\\"q\\\" \\\\ \\x01 h\xc3\xa9 \\xFF\\xC3\\x7F\""},
        {"string", "", "\"\""}, {"uchar", "255", "255"}, {"uchar", "0", "0"},
        {"uint16", "65535", "65535"}, {"uint32", "4294967295", "4294967295"},
        {"uint64", "18446744073709551615", "18446744073709551615"},
        {"uint64", "9007199254740993", "9007199254740993"}, {"unicodeString", "", "\"\""},
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

    // get shows the value alone; a missing setting matches nothing (1), naming file and path.
    expectOutput({"get", "all.cfg", "t/34"}, values[24][1] + "\n");
    expectOutput({"get", "all.cfg", "t/43"}, values[33][1] + "\n");
    expectOutput({"get", "all.cfg", "t/12"}, "AP8Q\n");
    expectOutput({"get", "--raw", "all.cfg", "t/10"}, "\0\xff\x10"s);
    expectFailure(orvconf({"get", "all.cfg", "missing/path"}),
                  {"all.cfg", "missing/path", "no such setting"}, 1);

    // A wide string that is not Unicode can only come from the JSON form.
    writeFile("odd.json",
              "[{\"path\": \"t/odd\", \"type\": \"unicodeString\", \"value\": {\"codePoints\": "
              "[55296, 1114112, 65]}}]");
    expectOutput({"import", "all.cfg", "odd.json"}, "");
    expectSuccess(shell("\"$ORVCONF\" export --to json all.cfg | \"$ORVCONF\" import back.cfg"));
    expectOutput({"diff", "all.cfg", "back.cfg"}, "");
    EXPECT_EQ(readFile("back.cfg"), readFile("all.cfg"));

    set("all.cfg", "-p", "int32", "-7");  // negative numbers are values, not options
    expectOutput({"get", "all.cfg", "-p"}, "-7\n");
    // A setting of another type is replaced only when told.
    expectFailure(orvconf({"set", "all.cfg", "t/31", "string", "now text"}),
                  {"'t/31'", "int32", "--retype"});
    expectOutput({"set", "--retype", "all.cfg", "t/31", "string", "now text"}, "");
    expectOutput({"get", "all.cfg", "t/31"}, "now text\n");
}

TEST_F(CommandsTest, ListAndRemoveWorkByWholePathSegments) {
    for (const char* path : {"a", "a/b", "a/c", "ab", "b"}) {
        set("l.cfg", path, "bool", "true");
    }
    expectOutput({"list", "l.cfg"}, "a\na/b\na/c\nab\nb\n");
    expectOutput({"list", "l.cfg", "a"}, "a\na/b\na/c\n");
    expectOutput({"list", "l.cfg", "a/"}, "a/b\na/c\n");
    expectOutput({"list", "--json", "l.cfg", "a/"}, "[\n  \"a/b\",\n  \"a/c\"\n]\n");
    expectOutput({"list", "l.cfg", "a/b/"}, "", 1);
    expectOutput({"remove", "l.cfg", "a/b"}, "");
    expectOutput({"list", "l.cfg"}, "a\na/c\nab\nb\n");
    expectOutput({"remove", "--recursive", "l.cfg", "a"}, "");
    expectOutput({"list", "l.cfg"}, "ab\nb\n");
    const std::string before = readFile("l.cfg");
    expectFailure(orvconf({"remove", "l.cfg", "a"}), {"l.cfg", "'a'"});
    expectFailure(orvconf({"remove", "--recursive", "l.cfg", "a"}), {"'a'"});
    EXPECT_EQ(readFile("l.cfg"), before);
}

TEST_F(CommandsTest, DiffListsChangesOneALineAndExitsAsDiffDoes) {
    // clang-format off
    const std::vector<std::array<std::string, 3>> settings = {
        {"gone", "bool", "true"}, {"same", "string", "s"}, {"nan", "double", "nan"},
        {"value", "int32", "1"}, {"type", "int32", "1"}, {"zero", "float", "0"}};
    // clang-format on
    for (size_t row = 0; row < settings.size(); ++row) {  // c holds what a does, in another order
        set("a.cfg", settings[row][0], settings[row][1], settings[row][2]);
        set("c.cfg", settings[5 - row][0], settings[5 - row][1], settings[5 - row][2]);
        set("b.cfg", settings[row][0], settings[row][1], settings[row][2]);
    }
    expectOutput({"remove", "b.cfg", "gone"}, "");
    set("b.cfg", "value", "int32", "2");
    expectOutput({"set", "--retype", "b.cfg", "type", "uint32", "1"}, "");
    set("b.cfg", "new", "binary", "AA==");
    set("b.cfg", "zero", "float", "-0");  // differs from zero
    expectOutput({"diff", "a.cfg", "c.cfg"}, "");
    expectOutput({"diff", "a.cfg", "b.cfg"},
                 "removed: gone (bool) = true\n"
                 "added: new (binary) = AA==\n"
                 "changed: type (int32) = 1 -> (uint32) = 1\n"
                 "changed: value (int32) = 1 -> (int32) = 2\n"
                 "changed: zero (float) = 0 -> (float) = -0\n",
                 1);
}

// Mistakes and unreadable files end with one located line; an unreadable file gets the reason
// of the form it looks like, and nothing is created.
TEST_F(CommandsTest, MistakesAndUnreadableFilesAreReportedOnOneLine) {
    writeFile("hand.cfg", kHandWrittenStream);
    writeFile("junk.cfg", "this is not a configuration");
    writeFile("short.cfg", "\x05\0\0\0\0\0\0\0ab"s);
    writeFile("bad.xml", "<configuration>\n  <group>\n    <group size=>\n</configuration>\n");
    writeFile("bool.xml",
              "<configuration><setting name=\"b\" type=\"bool\">True</setting></configuration>");
    // clang-format off
    const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> cases = {
        {{}, {"no command"}}, {{"frobnicate"}, {"frobnicate"}}, {{"print"}, {"print", "arguments"}},
        {{"get", "f", "p", "extra"}, {"get", "arguments"}}, {{"print", "--bogus", "f"}, {"--bogus"}},
        {{"print", "--raw", "f"}, {"--raw"}}, {{"print", "--format", "yaml", "f"}, {"yaml"}},
        {{"diff", "-", "-"}, {"standard input"}},
        {{"set", "-", "p", "int32", "1"}, {"standard input"}},
        {{"print", "none.cfg"}, {"none.cfg", "no such file"}}, {{"list", "none.cfg"}, {"none.cfg"}},
        {{"get", "none.cfg", "p"}, {"none.cfg"}}, {{"remove", "none.cfg", "p"}, {"none.cfg"}},
        {{"convert", "none.cfg", "out.cfg"}, {"none.cfg"}},
        {{"diff", "none.cfg", "hand.cfg"}, {"none.cfg"}},
        {{"diff", "hand.cfg", "short.cfg"}, {"short.cfg"}},
        {{"print", "junk.cfg"}, {"junk.cfg", "binary", "byte 8"}},
        {{"print", "bad.xml"}, {"bad.xml:3:"}},
        {{"print", "bool.xml"}, {"bool.xml:1:", "'/b'", "True"}}};
    // clang-format on
    for (const auto& [arguments, words] : cases) {
        SCOPED_TRACE(arguments.empty() ? "" : arguments[0]);
        expectFailure(orvconf(arguments), words);
    }
    EXPECT_FALSE(contains(orvconf({"print", "junk.cfg"}).err, "XML"));
    EXPECT_FALSE(contains(orvconf({"print", "bad.xml"}).err, "binary"));
    EXPECT_EQ(listing(), "bad.xml\nbool.xml\nhand.cfg\njunk.cfg\nshort.cfg\n");
}

// The reader asks for an announced buffer before it checks the input's length; the tool reports
// the failed allocation like any unreadable file. An AddressSanitizer build is told to fail it as
// the plain allocator does, and its warning about that is not the tool's output.
TEST_F(CommandsTest, AStreamAnnouncingAHugeBinaryIsAnErrorNotACrash) {
    writeFile("huge.cfg", "\x01\0\0\0\0\0\0\0b\x0c\0\0\0\0\0\0\0\0\0\0\x40"s);
    expectFailure(shell("ASAN_OPTIONS=allocator_may_return_null=1 \"$ORVCONF\" print huge.cfg "
                        "2>err; status=$?; grep -v 'AddressSanitizer failed to allocate' err >&2; "
                        "exit $status"),
                  {"huge.cfg", "binary", "out of memory"});
}

TEST_F(CommandsTest, WhatIsMalformedOrOutOfRangeIsRefusedAndNothingWritten) {
    set("v.cfg", "keep", "int32", "1");
    const std::string before = readFile("v.cfg");
    // {type, value, a word of the reason}
    // clang-format off
    std::vector<std::array<std::string, 3>> cases = {
        {"uchar", "256", "out of range"}, {"uint16", "65536", "out of range"},
        {"uint32", "4294967296", "out of range"}, {"uint64", "18446744073709551616", "out of range"},
        {"char", "128", "out of range"}, {"char", "-129", "out of range"},
        {"int16", "32768", "out of range"}, {"int16", "-32769", "out of range"},
        {"int32", "2147483648", "out of range"}, {"int32", "-2147483649", "out of range"},
        {"int64", "9223372036854775808", "out of range"},
        {"int64", "-9223372036854775809", "out of range"},
        {"float", "1e39", "out of range"}, {"float", "-3.5e38", "out of range"},
        {"float", "1e-50", "out of range"}, {"double", "1e309", "out of range"},
        {"double", "1e-400", "out of range"}, {"uint32", "-1", "malformed"},
        {"uint64", "-0", "malformed"}, {"int32", "1.5", "malformed"}, {"double", "1e", "malformed"},
        {"float", "", "empty"}, {"integer", "1", "unicodeString"}, {"Bool", "true", "bool"}};
    // clang-format on
    for (const std::string type : {"uchar", "uint32", "uint64", "int32", "int64", "float"}) {
        for (const std::string value : {"", " 1", "1 ", "+1", "1x", "0x10", "1,000", "one"}) {
            cases.push_back({type, value, ""});
        }
    }
    for (const std::string value : {"1", "0", "yes", "True", "FALSE", "", "true "}) {
        cases.push_back({"bool", value, "true or false"});
    }
    for (const std::string value : {"A", "AAA", "AA=A", "====", "AA==AA==", "AAE",
                                    "AB==", "AAF=", "AA A", "A*==", "AAECAw"}) {
        cases.push_back({"binary", value, "Base64"});
    }
    for (const std::string value :
         {"\xff", "\xc3", "\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
        cases.push_back({"unicodeString", value, "UTF-8"});
    }
    for (const auto& [type, value, reason] : cases) {
        SCOPED_TRACE(type + " '" + value + "'");
        expectFailure(orvconf({"set", "v.cfg", "the/path", type, value}),
                      {"v.cfg", "the/path", type, reason});
    }
    EXPECT_EQ(readFile("v.cfg"), before);
}

// Values come from files or standard input, and an error quotes only a short prefix.
TEST_F(CommandsTest, ValuesComeFromFilesOrStandardInput) {
    const std::string big(200000, 'x');
    writeFile("big.txt", big);
    expectSuccess(orvconf({"set", "--value-file", "big.txt", "v.cfg", "b", "string"}));
    expectOutput({"get", "v.cfg", "b"}, big + "\n");
    expectSuccess(shell("echo 42 | \"$ORVCONF\" set --value-file - v.cfg n int32"));
    expectOutput({"get", "v.cfg", "n"}, "42\n");

    writeFile("bad.txt", std::string(200000, '9'));
    const ProgramResult refused =
        orvconf({"set", "--value-file", "bad.txt", "v.cfg", "n", "int32"});
    expectFailure(refused, {"out of range", "200000 bytes"});
    EXPECT_LT(refused.err.size(), 300u);
    expectFailure(orvconf({"set", "--value-file", "none", "v.cfg", "n", "int32"}), {"none"});
}

// The JSON form is written exactly by print --json, export and get --json, and diff --json;
// import reads it and refuses a malformed document, naming the source and writing nothing.
TEST_F(CommandsTest, TheJsonFormIsExactAndMalformedDocumentsAreRefused) {
    const std::string expected =
        "[\n"
        "  {\"path\": \"a/big\", \"type\": \"uint64\", \"value\": \"18446744073709551615\"},\n"
        "  {\"path\": \"a/bin\", \"type\": \"binary\", \"value\": \"AAEC\"},\n"
        "  {\"path\": \"a/bool\", \"type\": \"bool\", \"value\": true},\n"
        "  {\"path\": \"a/float\", \"type\": \"float\", \"value\": 0.1},\n"
        "  {\"path\": \"a/nan\", \"type\": \"double\", \"value\": \"nan\"},\n"
        "  {\"path\": \"a/neg\", \"type\": \"char\", \"value\": -5},\n"
        "  {\"path\": \"a/text\", \"type\": \"string\", \"value\": \"quote \\\" back \\\\ "
        "nl \\u000A ctl \\u0001\"},\n"
        "  {\"path\": \"a/wide\", \"type\": \"unicodeString\", \"value\": "
        "\"\xf0\x9f\x98\x80\"},\n"
        "  {\"path\": {\"base64\": \"YS//\"}, \"type\": \"string\", \"value\": "
        "{\"base64\": \"YmFkIP8=\"}}\n"
        "]\n";
    writeFile("j.json", expected);
    expectOutput({"import", "j.cfg", "j.json"}, "");
    expectOutput({"print", "--json", "j.cfg"}, expected);
    expectOutput({"export", "j.cfg"}, expected);
    expectOutput({"get", "--json", "j.cfg", "a/neg"},
                 "{\"path\": \"a/neg\", \"type\": \"char\", \"value\": -5}\n");
    writeFile("empty.cfg", "");
    expectOutput({"print", "--json", "empty.cfg"}, "[]\n");
    set("k.cfg", "a/neg", "int32", "-5");
    const ProgramResult diff = orvconf({"diff", "--json", "j.cfg", "k.cfg"});
    EXPECT_EQ(diff.status, 1);
    EXPECT_TRUE(contains(diff.out,
                         "{\"change\": \"changed\", \"path\": \"a/neg\", \"before\": "
                         "{\"type\": \"char\", \"value\": -5}, \"after\": {\"type\": "
                         "\"int32\", \"value\": -5}}"));
    EXPECT_TRUE(contains(diff.out, "{\"change\": \"removed\", \"path\": \"a/bool\", \"before\": "));
    for (const std::string& json : std::vector<std::string>{
             "{}", "[1]", "[{\"path\": \"x\", \"type\": \"int8\", \"value\": 1}]",
             "[{\"path\": \"x\", \"type\": \"uchar\", \"value\": 256}]",
             "[{\"path\": \"x\", \"type\": \"string\", \"value\": \"\\ud800\"}]", "[", "[] x",
             std::string(100000, '[')}) {
        writeFile("bad.json", json);
        expectFailure(orvconf({"import", "bad.cfg", "bad.json"}), {"bad.json"});
    }
    EXPECT_EQ(listing(), "bad.json\nempty.cfg\nj.cfg\nj.json\nk.cfg\n");
}

}  // namespace
