// The JSON form: what print --json, export, get, list and diff --json write, that standard tools
// read it, and that import reads it back without loss.
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
        set("j.cfg", "a/text", "string", "quote \" back \\ nl \n ctl \x01");
        set("j.cfg", "a/wide", "unicodeString", "\xf0\x9f\x98\x80");
        set("j.cfg", "a/bin", "binary", "AAEC");
        set("j.cfg", "a/\xff", "string", "bad \xff");
    }
};

TEST_F(JsonOutputTest, OutputIsTheExpectedArrayAndAnEmptySetAnEmptyArray) {
    const ProgramResult result = orvconf({"print", "--json", file("j.cfg")});
    expectSuccess(result);
    EXPECT_EQ(
        result.out,
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
        "]\n");
    EXPECT_EQ(orvconf({"export", file("j.cfg")}).out, result.out);
    EXPECT_EQ(orvconf({"get", "--json", file("j.cfg"), "a/neg"}).out,
              "{\"path\": \"a/neg\", \"type\": \"char\", \"value\": -5}\n");

    writeFile("empty.cfg", "");
    EXPECT_EQ(orvconf({"print", "--json", file("empty.cfg")}).out, "[]\n");
    set("k.cfg", "a/neg", "int32", "-5");
    const ProgramResult diff = orvconf({"diff", "--json", file("j.cfg"), file("k.cfg")});
    EXPECT_EQ(diff.status, 1);
    EXPECT_NE(diff.out.find("{\"change\": \"changed\", \"path\": \"a/neg\", \"before\": {\"type\": "
                            "\"char\", \"value\": -5}, \"after\": {\"type\": \"int32\", \"value\": "
                            "-5}}"),
              std::string::npos)
        << diff.out;
    EXPECT_NE(diff.out.find("{\"change\": \"removed\", \"path\": \"a/bool\", \"before\": "),
              std::string::npos);
}

TEST_F(JsonOutputTest, JqOrPythonParsesTheOutput) {
    const ProgramResult printed = orvconf({"print", "--json", file("j.cfg")});
    writeFile("out.json", printed.out);
    if (programExists("jq")) {
        const ProgramResult query = runProgram(
            {"jq", "-r", ".[] | select(.path == \"a/text\" or .path == \"a/big\") | .value",
             file("out.json")});
        EXPECT_EQ(query.status, 0) << query.err;
        EXPECT_EQ(query.out, "18446744073709551615\nquote \" back \\ nl \n ctl \x01\n");
        EXPECT_EQ(
            runProgram({"jq", "-e", "length == 9 and .[2].value == true", file("out.json")}).status,
            0);
    } else if (programExists("python3")) {
        EXPECT_EQ(runProgram({"python3", "-m", "json.tool", file("out.json")}).status, 0);
    } else {
        GTEST_SKIP() << "neither jq nor python3 is installed";
    }
}

TEST_F(JsonOutputTest, ExportThenImportRoundTripsEveryTypeAndHostileValueExactly) {
    const std::vector<std::vector<std::string>> values = {
        {"t/bool", "bool", "false"},
        {"t/uchar", "uchar", "255"},
        {"t/uint16", "uint16", "65535"},
        {"t/uint32", "uint32", "4294967295"},
        {"t/uint64", "uint64", "18446744073709551615"},
        {"t/exact", "uint64", "9007199254740993"},
        {"t/char", "char", "-128"},
        {"t/int16", "int16", "-32768"},
        {"t/int32", "int32", "-2147483648"},
        {"t/int64", "int64", "-9223372036854775808"},
        {"t/float", "float", "-0"},
        {"t/fnan", "float", "nan"},
        {"t/double", "double", "5e-324"},
        {"t/dnan", "double", "-nan"},
        {"t/inf", "double", "-inf"},
        {"t/string", "string", ""},
        {"t/nul", "string", std::string("\0\xff\xc3 \x7f", 5)},
        {"t/wide", "unicodeString", ""},
        {"t/wide2", "unicodeString", "\xe2\x82\xac"},
        {"t/binary", "binary", ""},
        {"t/bytes", "binary", "AP8Q"},
        {std::string("\xfe/\0p", 4), "int32", "1"}};
    for (const auto& value : values) {
        set("all.cfg", value[0], value[1], value[2]);
    }
    // A wide string that is not Unicode can only come from the JSON form.
    writeFile("wide.json",
              "[{\"path\": \"t/odd\", \"type\": \"unicodeString\", \"value\": {\"codePoints\": "
              "[55296, 1114112, 65]}}]");
    expectSuccess(orvconf({"import", file("all.cfg"), file("wide.json")}));

    const ProgramResult exported = orvconf({"export", "--to", "json", file("all.cfg")});
    expectSuccess(exported);
    writeFile("all.json", exported.out);
    expectSuccess(runProgram({"sh", "-c",
                              std::string("'") + ORVCONF_INSTALLED_PROGRAM + "' import '" +
                                  file("back.cfg") + "' < '" + file("all.json") + "'"}));
    const ProgramResult diff = orvconf({"diff", file("all.cfg"), file("back.cfg")});
    expectSuccess(diff);
    EXPECT_EQ(diff.out, "");
    EXPECT_EQ(readFile("back.cfg"), readFile("all.cfg"));

    // Malformed documents are refused, naming the source and the setting.
    for (const std::string& json : std::vector<std::string>{
             "{}", "[1]", "[{\"path\": \"x\", \"type\": \"int8\", \"value\": 1}]",
             "[{\"path\": \"x\", \"type\": \"uchar\", \"value\": 256}]",
             "[{\"path\": \"x\", \"type\": \"string\", \"value\": \"\\ud800\"}]", "[", "[] x",
             std::string(100000, '[')}) {
        writeFile("bad.json", json);
        expectFailure(orvconf({"import", file("bad.cfg"), file("bad.json")}), {file("bad.json")});
    }
    EXPECT_EQ(directoryEntries("").size(), 6u);  // bad.cfg was never created
}

}  // namespace
