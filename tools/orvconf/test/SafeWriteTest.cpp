// Writing replaces a file whole or not at all, and keeps its permissions and links.
#include "OrvconfFixture.h"

using namespace std::string_literals;

namespace {

class SafeWriteTest : public OrvconfTest {};

// As an unprivileged user when the tests run as root, who ignores permission bits.
ProgramResult orvconfUnprivileged(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), ORVCONF_INSTALLED_PROGRAM);
    if (::geteuid() == 0) {
        arguments.insert(arguments.begin(),
                         {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
    }
    return runProgram(arguments);
}

unsigned permissions(const std::string& name) {
    return unsigned(std::filesystem::status(name).permissions());
}

// Where the directory forbids writing, set, remove and convert fail and leave the file as it was.
TEST_F(SafeWriteTest, AWriteThatCannotReplaceTheFileKeepsTheOldOne) {
    ASSERT_EQ(::mkdir("locked", 0755), 0);
    set("locked/c.cfg", "x", "int32", "1");
    const std::string before = readFile("locked/c.cfg");
    ASSERT_EQ(::chmod("locked/c.cfg", 0666), 0);
    ASSERT_EQ(::chmod("locked", 0555), 0);
    EXPECT_EQ(orvconfUnprivileged({"get", "locked/c.cfg", "x"}).out, "1\n");
    expectFailure(orvconfUnprivileged({"set", "locked/c.cfg", "x", "int32", "2"}),
                  {"locked/c.cfg", "Permission denied"});
    expectFailure(orvconfUnprivileged({"remove", "locked/c.cfg", "x"}), {"locked/c.cfg"});
    expectFailure(orvconfUnprivileged({"convert", "locked/c.cfg", "locked/copy.cfg"}),
                  {"locked/copy.cfg"});
    EXPECT_EQ(readFile("locked/c.cfg"), before);
    EXPECT_EQ(listing("locked"), "c.cfg\n");

    // A refused value creates no file, and a file that cannot be read is not replaced.
    expectFailure(orvconf({"set", "new.cfg", "x", "int32", "99999999999"}), {"new.cfg"});
    writeFile("bad.cfg", "\x09\0\0\0\0\0\0\0abc"s);
    expectFailure(orvconf({"set", "bad.cfg", "x", "int32", "1"}), {"bad.cfg"});
    EXPECT_EQ(readFile("bad.cfg"), "\x09\0\0\0\0\0\0\0abc"s);
    EXPECT_EQ(listing(), "bad.cfg\nlocked\n");
}

// A replacement keeps the mode (one that forbids writing is overridden only with --force) and
// the symbolic link; a new file gets what the umask allows; no temporary file is left.
TEST_F(SafeWriteTest, AReplacementKeepsModeAndLinks) {
    set("ro.xml", "a/x", "int32", "1");
    ASSERT_EQ(::chmod("ro.xml", 0444), 0);
    const std::string before = readFile("ro.xml");
    expectFailure(orvconf({"set", "ro.xml", "a/x", "int32", "2"}), {"ro.xml", "--force"});
    expectFailure(orvconf({"remove", "ro.xml", "a/x"}), {"--force"});
    EXPECT_EQ(readFile("ro.xml"), before);
    expectSuccess(orvconf({"set", "--force", "ro.xml", "a/x", "int32", "2"}));
    EXPECT_EQ(permissions("ro.xml"), 0444u);
    expectOutput({"get", "ro.xml", "a/x"}, "2\n");

    set("p.cfg", "x", "int32", "1");
    ASSERT_EQ(::chmod("p.cfg", 0640), 0);
    ASSERT_EQ(::symlink("p.cfg", "link.cfg"), 0);
    set("link.cfg", "y", "int32", "2");
    EXPECT_EQ(permissions("p.cfg"), 0640u);
    expectSuccess(orvconf({"remove", "p.cfg", "x"}));
    EXPECT_EQ(permissions("p.cfg"), 0640u);
    EXPECT_TRUE(std::filesystem::is_symlink("link.cfg"));
    expectOutput({"print", "p.cfg"}, "y (int32) = 2\n");

    set("n.cfg", "x", "int32", "1");
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(permissions("n.cfg"), 0666u & ~mask);
    EXPECT_EQ(listing(), "link.cfg\nn.cfg\np.cfg\nro.xml\n");
}

// "-" is a standard stream; a device or a FIFO is written in place, never replaced.
TEST_F(SafeWriteTest, DashIsAStandardStreamAndDevicesAndFifosAreWrittenInPlace) {
    set("c.xml", "a/x", "int32", "7");
    const ProgramResult streams = shell(
        "\"$ORVCONF\" print - <c.xml && \"$ORVCONF\" convert c.xml - --to xml | \"$ORVCONF\" print "
        "- "
        "&& \"$ORVCONF\" diff - c.xml <c.xml && \"$ORVCONF\" export c.xml - | \"$ORVCONF\" import "
        "j.cfg "
        "&& \"$ORVCONF\" print j.cfg");
    expectSuccess(streams);
    EXPECT_EQ(streams.out, "a/x (int32) = 7\na/x (int32) = 7\na/x (int32) = 7\n");
    expectFailure(orvconf({"convert", "c.xml", "/dev/full"}), {"/dev/full", "space"});
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    ASSERT_EQ(::mkfifo("fifo", 0600), 0);
    expectSuccess(shell("cat fifo >copy & \"$ORVCONF\" convert c.xml fifo --to xml; wait"));
    EXPECT_TRUE(readFile("copy").rfind("<?xml", 0) == 0);
    EXPECT_TRUE(std::filesystem::is_fifo("fifo"));
}

}  // namespace
