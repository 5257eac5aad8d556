// The JSON form: what print --json, export, get, list and diff --json write, that standard tools
// read it, and that import reads it back without loss.
#include <array>

#include "OrvconfFixture.h"

namespace {

class JsonOutputTest : public OrvconfTest {};

TEST_F(JsonOutputTest, OutputIsTheExpectedArrayThatStandardToolsRead) {
    set("j.cfg", "a/bool", "bool", "true");
    set("j.cfg", "a/big", "uint64", "18446744073709551615");
    set("j.cfg", "a/neg", "char", "-5");
    set("j.cfg", "a/float", "float", "0.1");
    set("j.cfg", "a/nan", "double", "nan");
    set("j.cfg", "a/text", "string", "quote \" back \\ nl \n ctl \x01");
    set("j.cfg", "a/wide", "unicodeString", "\xf0\x9f\x98\x80");
    set("j.cfg", "a/bin", "binary", "AAEC");
    set("j.cfg", "a/\xff", "string", "bad \xff");
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

    writeFile("out.json", expected);
    if (shell("command -v jq").status == 0) {
        expectSuccess(shell("jq -e 'length == 9 and .[2].value == true' out.json"));
        const ProgramResult query = shell(
            "jq -r '.[] | select(.path == \"a/text\" or .path == "
            "\"a/big\") | .value' out.json");
        EXPECT_EQ(query.out, "18446744073709551615\nquote \" back \\ nl \n ctl \x01\n");
    } else if (shell("command -v python3").status == 0) {
        expectSuccess(shell("python3 -m json.tool out.json"));
    }
}

// Malformed documents are refused, naming the source, and nothing is written.
TEST_F(JsonOutputTest, MalformedDocumentsAreRefused) {
    for (const std::string& json : std::vector<std::string>{
             "{}", "[1]", "[{\"path\": \"x\", \"type\": \"int8\", \"value\": 1}]",
             "[{\"path\": \"x\", \"type\": \"uchar\", \"value\": 256}]",
             "[{\"path\": \"x\", \"type\": \"string\", \"value\": \"\\ud800\"}]", "[", "[] x",
             std::string(100000, '[')}) {
        writeFile("bad.json", json);
        expectFailure(orvconf({"import", "bad.cfg", "bad.json"}), {"bad.json"});
    }
    EXPECT_EQ(entries(), std::vector<std::string>{"bad.json"});
}

}  // namespace
