// Every command of the installed orvconf on binary files.
#include <array>
#include <sstream>

#include "OrvconfFixture.h"

using namespace std::string_literals;

namespace {

// A binary stream written by hand: "a" as uint16 0x1234, then "bc" as the string "hi".
const std::string kHandWrittenStream =
    "\x01\0\0\0\0\0\0\0a\x02\0\0\0\x34\x12\x02\0\0\0\0\0\0\0bc\x0b\0\0\0\x02\0\0\0\0\0\0\0hi"s;

class CommandsTest : public OrvconfTest {};

TEST_F(CommandsTest, HelpVersionManualAndCompletionCoverEveryCommand) {
    const ProgramResult others =
        runProgram({"bash", "-c",
                    "source '" ORVCONF_INSTALLED_COMPLETION "'; COMP_WORDS=(orvconf ''); "
                    "COMP_CWORD=1; _orvconf; echo \" ${COMPREPLY[*]} \"; "
                    "cat '" ORVCONF_INSTALLED_MANUAL "'"});
    EXPECT_EQ(others.status, 0) << others.err;
    std::vector<std::string> helps;
    for (const char* help : {"--help", "-h", "help"}) {
        const ProgramResult result = orvconf({help});
        expectSuccess(result);
        helps.push_back(result.out);
    }
    for (const std::string command : {"print", "get", "set", "remove", "list", "check", "convert",
                                      "diff", "export", "import", "help"}) {
        SCOPED_TRACE(command);
        EXPECT_TRUE(contains(others.out, " " + command + " "));        // the completion
        EXPECT_TRUE(contains(others.out, "\\fB" + command + "\\fR"));  // the manual page
        for (const std::string& help : helps) {
            EXPECT_TRUE(contains(help, "  " + command + " "));
        }
        for (const auto& arguments :
             {std::vector<std::string>{command, "--help"}, {command, "-h"}, {"help", command}}) {
            const ProgramResult help = orvconf(arguments);
            expectSuccess(help);
            EXPECT_EQ(help.out.rfind("usage: orvconf " + command + " ", 0), 0u) << help.out;
        }
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
    set("hand.cfg", "c", "bool", "false");  // added to what was there
    expectOutput({"print", "hand.cfg"},
                 "a (uint16) = 4660\nbc (string) = \"hi\"\nc (bool) = false\n");

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
    for (const char* name : {"a.cfg", "b.cfg"}) {
        set(name, "same", "string", "s");
        set(name, "nan", "double", "nan");
    }
    set("a.cfg", "gone", "bool", "true");
    set("a.cfg", "value", "int32", "1");
    set("a.cfg", "type", "int32", "1");
    set("c.cfg", "type", "int32", "1");  // c is a in another order
    set("c.cfg", "value", "int32", "1");
    set("c.cfg", "gone", "bool", "true");
    set("c.cfg", "nan", "double", "nan");
    set("c.cfg", "same", "string", "s");
    set("b.cfg", "value", "int32", "2");
    set("b.cfg", "type", "uint32", "1");
    set("b.cfg", "new", "binary", "AA==");
    expectOutput({"diff", "a.cfg", "c.cfg"}, "");
    expectOutput({"diff", "a.cfg", "b.cfg"},
                 "removed: gone (bool) = true\n"
                 "added: new (binary) = AA==\n"
                 "changed: type (int32) = 1 -> (uint32) = 1\n"
                 "changed: value (int32) = 1 -> (int32) = 2\n",
                 1);
    set("z1.cfg", "z", "float", "0");
    set("z2.cfg", "z", "float", "-0");
    expectOutput({"diff", "z1.cfg", "z2.cfg"}, "changed: z (float) = 0 -> (float) = -0\n", 1);
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
    EXPECT_EQ(entries().size(), 5u);
}

// The reader asks for an announced buffer before it checks the input's length; the tool reports
// the failed allocation like any unreadable file. An AddressSanitizer build is told to fail it as
// the plain allocator does, and its warning about that is not the tool's output.
TEST_F(CommandsTest, AStreamAnnouncingAHugeBinaryIsAnErrorNotACrash) {
    ::setenv("ASAN_OPTIONS", "allocator_may_return_null=1", 1);
    writeFile("huge.cfg", "\x01\0\0\0\0\0\0\0b\x0c\0\0\0\0\0\0\0\0\0\0\x40"s);
    ProgramResult result = orvconf({"print", "huge.cfg"});
    ::unsetenv("ASAN_OPTIONS");
    std::istringstream lines(result.err);
    result.err.clear();
    for (std::string line; std::getline(lines, line);) {
        if (!contains(line, "WARNING: AddressSanitizer failed to allocate")) {
            result.err += line + "\n";
        }
    }
    expectFailure(result, {"huge.cfg", "binary", "out of memory"});
}

}  // namespace
