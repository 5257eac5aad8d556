// Every command of the installed orvconf on binary files.
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>

#include "OrvconfFixture.h"

namespace {

// A binary stream written by hand: "a" as uint16 0x1234, then "bc" as the string "hi".
const std::string kHandWrittenStream(
    "\x01\0\0\0\0\0\0\0"
    "a"
    "\x02\0\0\0"
    "\x34\x12"
    "\x02\0\0\0\0\0\0\0"
    "bc"
    "\x0b\0\0\0"
    "\x02\0\0\0\0\0\0\0"
    "hi",
    39);

class CommandsTest : public OrvconfTest {};

TEST_F(CommandsTest, HelpAndVersionPrintToStandardOutput) {
    const char* commands[] = {"print",   "get",  "set",    "remove", "list", "check",
                              "convert", "diff", "export", "import", "help"};
    for (const auto& arguments : {std::vector<std::string>{"--help"}, {"-h"}, {"help"}}) {
        const ProgramResult help = orvconf(arguments);
        expectSuccess(help);
        for (const char* command : commands) {
            EXPECT_NE(help.out.find(std::string("  ") + command + " "), std::string::npos)
                << command;
        }
    }
    // The installed manual page and bash completion cover every command.
    const ProgramResult completion =
        runProgram({"bash", "-c",
                    std::string("source '") + ORVCONF_INSTALLED_COMPLETION +
                        "'; COMP_WORDS=(orvconf ''); COMP_CWORD=1; _orvconf; "
                        "echo \" ${COMPREPLY[*]} \"; cat '" +
                        ORVCONF_INSTALLED_MANUAL + "'"});
    EXPECT_EQ(completion.status, 0) << completion.err;
    for (const char* command : commands) {
        EXPECT_NE(completion.out.find(std::string(" ") + command + " "), std::string::npos);
        EXPECT_NE(completion.out.find(std::string("\\fB") + command + "\\fR"), std::string::npos)
            << command;
    }
    // Each command's own help names it.
    for (const char* command : commands) {
        for (const auto& arguments :
             {std::vector<std::string>{command, "--help"}, {command, "-h"}, {"help", command}}) {
            const ProgramResult help = orvconf(arguments);
            expectSuccess(help);
            EXPECT_EQ(help.out.rfind(std::string("usage: orvconf ") + command + " ", 0), 0u)
                << help.out;
        }
    }
    const ProgramResult version = orvconf({"--version"});
    expectSuccess(version);
    EXPECT_EQ(version.out.rfind("orvconf ", 0), 0u);
    EXPECT_NE(version.out.find(" 1."), std::string::npos) << version.out;
}

TEST_F(CommandsTest, PrintReadsAStreamWrittenByHandAndAnEmptyFileAsAnEmptySet) {
    writeFile("hand.cfg", kHandWrittenStream);
    const ProgramResult result = orvconf({"print", file("hand.cfg")});
    expectSuccess(result);
    EXPECT_EQ(result.out, "a (uint16) = 4660\nbc (string) = \"hi\"\n");

    writeFile("empty.cfg", "");
    const ProgramResult empty = orvconf({"print", file("empty.cfg")});
    expectSuccess(empty);
    EXPECT_EQ(empty.out, "");
}

TEST_F(CommandsTest, SetWritesTheBinaryStreamByteForByte) {
    set("new.cfg", "bc", "string", "hi");
    set("new.cfg", "a", "uint16", "4660");
    EXPECT_EQ(readFile("new.cfg"), kHandWrittenStream);
}

TEST_F(CommandsTest, EveryTypeIsStoredAndPrintedInPathOrder) {
    set("all.cfg", "t/bool", "bool", "true");
    set("all.cfg", "t/uchar", "uchar", "255");
    set("all.cfg", "t/uint16", "uint16", "65535");
    set("all.cfg", "t/uint32", "uint32", "4294967295");
    set("all.cfg", "t/uint64", "uint64", "18446744073709551615");
    set("all.cfg", "t/char", "char", "-128");
    set("all.cfg", "t/int16", "int16", "-32768");
    set("all.cfg", "t/int32", "int32", "-2147483648");
    set("all.cfg", "t/int64", "int64", "-9223372036854775808");
    set("all.cfg", "t/float", "float", "0.1");
    set("all.cfg", "t/double", "double", "1e-300");
    set("all.cfg", "t/string", "string", "tab\there \"q\" \\ \x01 h\xc3\xa9");
    set("all.cfg", "t/wide", "unicodeString", "\xe2\x82\xac \xf0\x9f\x98\x80");
    set("all.cfg", "t/binary", "binary", "AP8Q");
    const ProgramResult result = orvconf({"print", file("all.cfg")});
    expectSuccess(result);
    EXPECT_EQ(result.out,
              "t/binary (binary) = AP8Q\n"
              "t/bool (bool) = true\n"
              "t/char (char) = -128\n"
              "t/double (double) = 1e-300\n"
              "t/float (float) = 0.1\n"
              "t/int16 (int16) = -32768\n"
              "t/int32 (int32) = -2147483648\n"
              "t/int64 (int64) = -9223372036854775808\n"
              "t/string (string) = \"tab\\there \\\"q\\\" \\\\ \\x01 h\xc3\xa9\"\n"
              "t/uchar (uchar) = 255\n"
              "t/uint16 (uint16) = 65535\n"
              "t/uint32 (uint32) = 4294967295\n"
              "t/uint64 (uint64) = 18446744073709551615\n"
              "t/wide (unicodeString) = \"\xe2\x82\xac \xf0\x9f\x98\x80\"\n");
}

TEST_F(CommandsTest, FloatsPrintWithTheDigitsThatReadBackExactlyAndBytesThatAreNotUtf8Escaped) {
    set("f.cfg", "f", "float", "16777217");  // rounds to 16777216 as a float
    set("f.cfg", "d", "double", "0.30000000000000004");
    set("f.cfg", "e", "double", "123456789012345678901234567890");
    const ProgramResult result = orvconf({"print", file("f.cfg")});
    expectSuccess(result);
    EXPECT_EQ(result.out,
              "d (double) = 0.30000000000000004\n"
              "e (double) = 1.2345678901234568e+29\n"
              "f (float) = 16777216\n");

    set("bytes.cfg", "p\nq", "string", "\xff\xc3");
    EXPECT_EQ(orvconf({"print", file("bytes.cfg")}).out, "p\\nq (string) = \"\\xFF\\xC3\"\n");
}

TEST_F(CommandsTest, GetPrintsTheValueAloneOrNamesFileAndPathOfAMissingOne) {
    set("g.cfg", "n", "int64", "-42");
    set("g.cfg", "s", "string", "two words");
    set("g.cfg", "w", "unicodeString", "\xc3\xa9t\xc3\xa9");
    set("g.cfg", "b", "binary", "AAECAw==");
    EXPECT_EQ(orvconf({"get", file("g.cfg"), "n"}).out, "-42\n");
    EXPECT_EQ(orvconf({"get", file("g.cfg"), "s"}).out, "two words\n");
    EXPECT_EQ(orvconf({"get", file("g.cfg"), "w"}).out, "\xc3\xa9t\xc3\xa9\n");
    EXPECT_EQ(orvconf({"get", file("g.cfg"), "b"}).out, "AAECAw==\n");
    const ProgramResult raw = orvconf({"get", "--raw", file("g.cfg"), "b"});
    expectSuccess(raw);
    EXPECT_EQ(raw.out, std::string("\0\1\2\3", 4));

    ProgramResult missing = orvconf({"get", file("g.cfg"), "missing/path"});
    EXPECT_EQ(missing.status, 1);  // nothing matched; 2 stays for errors
    missing.status = 2;
    expectFailure(missing, {file("g.cfg"), "missing/path", "no such setting"});

    // Negative numbers are values, not options.
    set("g.cfg", "-p", "int32", "-7");
    EXPECT_EQ(orvconf({"get", file("g.cfg"), "-p"}).out, "-7\n");
}

TEST_F(CommandsTest, SetReplacesASettingOfAnotherTypeOnlyWhenToldAndKeepsTheOthers) {
    set("r.cfg", "k", "int32", "1");
    expectFailure(orvconf({"set", file("r.cfg"), "k", "string", "now text"}),
                  {"'k'", "int32", "--retype"});
    expectSuccess(orvconf({"set", "--retype", file("r.cfg"), "k", "string", "now text"}));
    EXPECT_EQ(orvconf({"print", file("r.cfg")}).out, "k (string) = \"now text\"\n");

    writeFile("hand.cfg", kHandWrittenStream);
    set("hand.cfg", "c", "bool", "false");
    EXPECT_EQ(orvconf({"print", file("hand.cfg")}).out,
              "a (uint16) = 4660\nbc (string) = \"hi\"\nc (bool) = false\n");
}

TEST_F(CommandsTest, RemoveDeletesOneSettingAndRefusesAMissingOne) {
    writeFile("hand.cfg", kHandWrittenStream);
    expectSuccess(orvconf({"remove", file("hand.cfg"), "a"}));
    EXPECT_EQ(orvconf({"print", file("hand.cfg")}).out, "bc (string) = \"hi\"\n");
    const std::string before = readFile("hand.cfg");
    expectFailure(orvconf({"remove", file("hand.cfg"), "a"}), {file("hand.cfg"), "'a'"});
    EXPECT_EQ(readFile("hand.cfg"), before);
}

TEST_F(CommandsTest, ListAndRecursiveRemoveWorkByWholePathSegments) {
    for (const char* path : {"a", "a/b", "a/c", "ab", "b"}) {
        set("l.cfg", path, "bool", "true");
    }
    EXPECT_EQ(orvconf({"list", file("l.cfg")}).out, "a\na/b\na/c\nab\nb\n");
    EXPECT_EQ(orvconf({"list", file("l.cfg"), "a"}).out, "a\na/b\na/c\n");
    EXPECT_EQ(orvconf({"list", file("l.cfg"), "a/"}).out, "a/b\na/c\n");
    EXPECT_EQ(orvconf({"list", "--json", file("l.cfg"), "a/"}).out,
              "[\n  \"a/b\",\n  \"a/c\"\n]\n");
    const ProgramResult none = orvconf({"list", file("l.cfg"), "a/b/"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out + none.err, "");
    expectSuccess(orvconf({"remove", "--recursive", file("l.cfg"), "a"}));
    EXPECT_EQ(orvconf({"list", file("l.cfg")}).out, "ab\nb\n");
    expectFailure(orvconf({"remove", "--recursive", file("l.cfg"), "a"}), {"'a'"});
}

TEST_F(CommandsTest, CommandLineMistakesAreReportedOnOneLine) {
    expectFailure(orvconf({}), {"no command"});
    expectFailure(orvconf({"frobnicate"}), {"frobnicate"});
    expectFailure(orvconf({"print"}), {"print", "arguments"});
    expectFailure(orvconf({"get", "f", "p", "extra"}), {"get", "arguments"});
    expectFailure(orvconf({"print", "--bogus", "f"}), {"--bogus"});
    expectFailure(orvconf({"print", "--raw", "f"}), {"--raw"});
    expectFailure(orvconf({"diff", "-", "-"}), {"standard input"});
    expectFailure(orvconf({"set", "-", "p", "int32", "1"}), {"standard input"});
    expectFailure(orvconf({"print", "--format", "yaml", "f"}), {"yaml"});
}

TEST_F(CommandsTest, AMissingFileIsAnErrorForEveryReadingCommand) {
    const std::string missing = file("missing.cfg");
    expectFailure(orvconf({"print", missing}), {missing, "no such file"});
    expectFailure(orvconf({"get", missing, "p"}), {missing});
    expectFailure(orvconf({"remove", missing, "p"}), {missing});
    expectFailure(orvconf({"list", missing}), {missing});
    expectFailure(orvconf({"convert", missing, file("out.cfg")}), {missing});
    expectFailure(orvconf({"diff", missing, missing}), {missing});
    EXPECT_EQ(directoryEntries(""), std::vector<std::string>{});
}

// A file in neither form is judged by the form it looks like, and an XML error is placed at its
// line and column.
TEST_F(CommandsTest, AFileInNeitherFormGetsTheReasonOfTheFormItLooksLike) {
    writeFile("junk.cfg", "this is not a configuration");
    const ProgramResult junk = orvconf({"print", file("junk.cfg")});
    expectFailure(junk, {file("junk.cfg"), "binary", "byte 8"});
    EXPECT_EQ(junk.err.find("XML"), std::string::npos) << junk.err;
    writeFile("bad.xml", "<configuration>\n  <group>\n    <group size=>\n</configuration>\n");
    const ProgramResult bad = orvconf({"print", file("bad.xml")});
    expectFailure(bad, {file("bad.xml") + ":3:"});
    EXPECT_EQ(bad.err.find("binary"), std::string::npos) << bad.err;
    EXPECT_EQ(std::count(bad.err.begin(), bad.err.end(), '\n'), 1) << bad.err;
    writeFile("bool.xml",
              "<configuration><setting name=\"b\" type=\"bool\">True</setting>"
              "</configuration>");
    expectFailure(orvconf({"print", file("bool.xml")}), {file("bool.xml") + ":1:", "'/b'", "True"});
}

TEST_F(CommandsTest, AStreamAnnouncingAHugeBinaryIsAnErrorNotACrash) {
    // The reader asks for the announced buffer before it checks the input's length; the tool
    // must report the failed allocation like any other unreadable file. An AddressSanitizer
    // build is told to fail the allocation as the plain allocator does, and its warning about
    // doing so is not the tool's output.
    ::setenv("ASAN_OPTIONS", "allocator_may_return_null=1", 1);
    writeFile("huge.cfg", std::string("\x01\0\0\0\0\0\0\0"
                                      "b"
                                      "\x0c\0\0\0"
                                      "\0\0\0\0\0\0\0\x40",
                                      21));
    ProgramResult result = orvconf({"print", file("huge.cfg")});
    ::unsetenv("ASAN_OPTIONS");
    std::istringstream lines(result.err);
    result.err.clear();
    for (std::string line; std::getline(lines, line);) {
        if (line.find("WARNING: AddressSanitizer failed to allocate") == std::string::npos) {
            result.err += line + "\n";
        }
    }
    expectFailure(result, {file("huge.cfg"), "binary", "out of memory"});
}

}  // namespace
