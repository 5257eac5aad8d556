// set reads values strictly: anything malformed or out of range is refused, naming the file, the
// path, the type and the reason, and nothing is written.
#include <array>

#include "OrvconfFixture.h"

namespace {

class ValueParsingTest : public OrvconfTest {};

TEST_F(ValueParsingTest, WhatIsMalformedOrOutOfRangeIsRefusedAndNothingWritten) {
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
TEST_F(ValueParsingTest, ValuesComeFromFilesOrStandardInput) {
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

}  // namespace
