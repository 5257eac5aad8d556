// set reads values strictly: anything malformed or out of range is refused and nothing is
// written.
#include <string>
#include <utility>
#include <vector>

#include "OrvconfFixture.h"

namespace {

class ValueParsingTest : public OrvconfTest {
  protected:
    // Expects set of the value to fail with the reason and to leave the file untouched.
    void expectRefused(const std::string& type, const std::string& value,
                       const std::string& reason) {
        SCOPED_TRACE(type + " " + value);
        const std::string before = readFile("v.cfg");
        expectFailure(orvconf({"set", file("v.cfg"), "the/path", type, value}),
                      {file("v.cfg"), "the/path", type, reason});
        EXPECT_EQ(readFile("v.cfg"), before);
    }

    void expectStored(const std::string& type, const std::string& value, const std::string& shown) {
        SCOPED_TRACE(type + " " + value);
        expectSuccess(orvconf({"set", "--retype", file("v.cfg"), "p", type, value}));
        EXPECT_EQ(orvconf({"get", file("v.cfg"), "p"}).out, shown + "\n");
    }

    void SetUp() override {
        OrvconfTest::SetUp();
        set("v.cfg", "keep", "int32", "1");
    }
};

TEST_F(ValueParsingTest, NumbersOutsideTheirTypeAreOutOfRange) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"uchar", "256"},
        {"uint16", "65536"},
        {"uint32", "4294967296"},
        {"uint64", "18446744073709551616"},
        {"char", "128"},
        {"char", "-129"},
        {"int16", "32768"},
        {"int16", "-32769"},
        {"int32", "2147483648"},
        {"int32", "-2147483649"},
        {"int64", "9223372036854775808"},
        {"int64", "-9223372036854775809"},
        {"float", "1e39"},
        {"float", "-3.5e38"},
        {"float", "1e-50"},
        {"double", "1e309"},
        {"double", "1e-400"},
    };
    for (const auto& [type, value] : cases) {
        expectRefused(type, value, "out of range");
    }
}

TEST_F(ValueParsingTest, MalformedNumbersAreRefused) {
    for (const std::string type : {"uchar", "uint32", "uint64", "int32", "int64", "float"}) {
        for (const std::string value : {"", " 1", "1 ", "+1", "1x", "0x10", "1,000", "one"}) {
            expectRefused(type, value, type == "float" && value.empty() ? "empty" : "");
        }
    }
    expectRefused("uint32", "-1", "malformed");
    expectRefused("uint64", "-0", "malformed");
    expectRefused("int32", "1.5", "malformed");
    expectRefused("double", "1e", "malformed");
}

TEST_F(ValueParsingTest, BoundaryAndSpecialValuesAreAccepted) {
    expectStored("char", "127", "127");
    expectStored("uchar", "0", "0");
    expectStored("int32", "-0", "0");
    expectStored("float", "3.4028235e38", "3.4028235e+38");
    expectStored("double", "-0", "-0");
    expectStored("double", "nan", "nan");
    expectStored("double", "-inf", "-inf");
    expectStored("float", "1e-45", "1e-45");
}

TEST_F(ValueParsingTest, BoolIsExactlyTrueOrFalseAndUnknownTypesAreRefusedWithTheKnownOnes) {
    for (const std::string value : {"1", "0", "yes", "True", "FALSE", "", "true "}) {
        expectRefused("bool", value, "true or false");
    }
    expectStored("bool", "false", "false");

    expectRefused("integer", "1", "unicodeString");
    expectRefused("Bool", "true", "bool");
}

TEST_F(ValueParsingTest, BinaryMustBeCanonicalBase64) {
    for (const std::string value : {"A", "AAA", "AA=A", "====", "AA==AA==", "AAE",
                                    "AB==", "AAF=", "AA A", "A*==", "AAECAw"}) {
        expectRefused("binary", value, "Base64");
    }
    expectStored("binary", "", "");
    expectStored("binary", "/+8=", "/+8=");
    expectStored("binary", "AA==", "AA==");
    expectStored("binary", " AP8\r\nQ\t\n", "AP8Q");  // wrapped Base64
}

TEST_F(ValueParsingTest, WideStringsMustBeUtf8AndNarrowStringsAreTakenByteForByte) {
    for (const std::string value :
         {"\xff", "\xc3", "\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
        expectRefused("unicodeString", value, "UTF-8");
    }
    expectStored("unicodeString", "", "");

    expectStored("string", "\xff raw \\n", "\xff raw \\n");
}

TEST_F(ValueParsingTest, ValuesComeFromFilesOrStandardInputAndErrorsQuoteAShortPrefix) {
    const std::string big(200000, 'x');
    writeFile("big.txt", big);
    expectSuccess(orvconf({"set", "--value-file", file("big.txt"), file("v.cfg"), "b", "string"}));
    EXPECT_EQ(orvconf({"get", file("v.cfg"), "b"}).out, big + "\n");
    writeFile("n.txt", "42\n");
    expectSuccess(
        runProgram({"sh", "-c",
                    std::string("'") + ORVCONF_INSTALLED_PROGRAM + "' set --value-file - '" +
                        file("v.cfg") + "' n int32 < '" + file("n.txt") + "'"}));
    EXPECT_EQ(orvconf({"get", file("v.cfg"), "n"}).out, "42\n");

    writeFile("bad.txt", std::string(200000, '9'));
    const ProgramResult refused =
        orvconf({"set", "--value-file", file("bad.txt"), file("v.cfg"), "n", "int32"});
    expectFailure(refused, {"out of range", "200000 bytes"});
    EXPECT_LT(refused.err.size(), 300u);
    expectFailure(orvconf({"set", "--value-file", file("none"), file("v.cfg"), "n", "int32"}),
                  {file("none")});
}

}  // namespace
