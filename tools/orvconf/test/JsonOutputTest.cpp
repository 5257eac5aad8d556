// print --json gives JSON that standard tools read.
#include <string>

#include "OrvconfFixture.h"

namespace {

class JsonOutputTest : public OrvconfTest {
  protected:
    void SetUp() override {
        OrvconfTest::SetUp();
        set("j.cfg", "a/bool", "bool", "true");
        set("j.cfg", "a/big", "uint64", "18446744073709551615");
        set("j.cfg", "a/neg", "char", "-5");
        set("j.cfg", "a/float", "float", "0.1");
        set("j.cfg", "a/nan", "double", "nan");
        set("j.cfg", "a/text", "string", "quote \" back \\ nl \n ctl \x01 bad \xff");
        set("j.cfg", "a/wide", "unicodeString", "\xf0\x9f\x98\x80");
        set("j.cfg", "a/bin", "binary", "AAEC");
    }
};

TEST_F(JsonOutputTest, OutputIsTheExpectedArrayAndAnEmptySetAnEmptyArray) {
    const ProgramResult result = orvconf({"print", "--json", file("j.cfg")});
    expectSuccess(result);
    EXPECT_EQ(result.out,
              "[\n"
              "  {\"path\": \"a/big\", \"type\": \"uint64\", \"value\": 18446744073709551615},\n"
              "  {\"path\": \"a/bin\", \"type\": \"binary\", \"value\": \"AAEC\"},\n"
              "  {\"path\": \"a/bool\", \"type\": \"bool\", \"value\": true},\n"
              "  {\"path\": \"a/float\", \"type\": \"float\", \"value\": 0.1},\n"
              "  {\"path\": \"a/nan\", \"type\": \"double\", \"value\": \"nan\"},\n"
              "  {\"path\": \"a/neg\", \"type\": \"char\", \"value\": -5},\n"
              "  {\"path\": \"a/text\", \"type\": \"string\", \"value\": \"quote \\\" back \\\\ "
              "nl \\u000A ctl \\u0001 bad \xef\xbf\xbd\"},\n"
              "  {\"path\": \"a/wide\", \"type\": \"unicodeString\", \"value\": "
              "\"\xf0\x9f\x98\x80\"}\n"
              "]\n");

    writeFile("empty.cfg", "");
    EXPECT_EQ(orvconf({"print", "--json", file("empty.cfg")}).out, "[]\n");
}

TEST_F(JsonOutputTest, JqOrPythonParsesTheOutput) {
    const ProgramResult printed = orvconf({"print", "--json", file("j.cfg")});
    writeFile("out.json", printed.out);
    if (programExists("jq")) {
        const ProgramResult query = runProgram(
            {"jq", "-r", ".[] | select(.path == \"a/text\") | .value", file("out.json")});
        EXPECT_EQ(query.status, 0) << query.err;
        EXPECT_EQ(query.out, "quote \" back \\ nl \n ctl \x01 bad \xef\xbf\xbd\n");
        EXPECT_EQ(
            runProgram({"jq", "-e", "length == 8 and .[2].value == true", file("out.json")}).status,
            0);
    } else if (programExists("python3")) {
        EXPECT_EQ(runProgram({"python3", "-m", "json.tool", file("out.json")}).status, 0);
    } else {
        GTEST_SKIP() << "neither jq nor python3 is installed";
    }
}

}  // namespace
