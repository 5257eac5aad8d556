// diff reports added, removed and changed settings, and exits as diff does.
#include <string>

using namespace std::string_literals;

#include "OrvconfFixture.h"

namespace {

class DiffTest : public OrvconfTest {};

TEST_F(DiffTest, EqualSetsExitZeroWithoutOutput) {
    set("a.cfg", "x", "int32", "1");
    set("a.cfg", "y", "double", "nan");
    set("b.cfg", "y", "double", "nan");
    set("b.cfg", "x", "int32", "1");
    const ProgramResult result = orvconf({"diff", file("a.cfg"), file("b.cfg")});
    expectSuccess(result);
    EXPECT_EQ(result.out, "");
}

TEST_F(DiffTest, DifferencesAreListedOneALineAndExitOne) {
    set("a.cfg", "gone", "bool", "true");
    set("a.cfg", "same", "string", "s");
    set("a.cfg", "value", "int32", "1");
    set("a.cfg", "type", "int32", "1");
    set("b.cfg", "same", "string", "s");
    set("b.cfg", "value", "int32", "2");
    set("b.cfg", "type", "uint32", "1");
    set("b.cfg", "new", "binary", "AA==");
    const ProgramResult result = orvconf({"diff", file("a.cfg"), file("b.cfg")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out,
              "removed: gone (bool) = true\n"
              "added: new (binary) = AA==\n"
              "changed: type (int32) = 1 -> (uint32) = 1\n"
              "changed: value (int32) = 1 -> (int32) = 2\n");

    // Zero and negative zero differ.
    set("z1.cfg", "z", "float", "0");
    set("z2.cfg", "z", "float", "-0");
    EXPECT_EQ(orvconf({"diff", file("z1.cfg"), file("z2.cfg")}).status, 1);
}

TEST_F(DiffTest, AnUnreadableSideExitsTwo) {
    set("a.cfg", "x", "int32", "1");
    writeFile("bad.cfg", "\x05\0\0\0\0\0\0\0ab"s);
    expectFailure(orvconf({"diff", file("a.cfg"), file("bad.cfg")}), {file("bad.cfg")});
    expectFailure(orvconf({"diff", file("a.cfg"), file("none.cfg")}), {file("none.cfg")});
}

}  // namespace
